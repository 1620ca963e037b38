// Writing JSON texts: string escaping, numbers and a small streaming writer.
#ifndef ANADATA_TOOLS_JSON_H
#define ANADATA_TOOLS_JSON_H

#include <ostream>
#include <string>
#include <vector>

namespace tool {

// The string as a JSON string literal, quotes included. Bytes are passed through except
// quote, backslash and control characters; bytes that are not valid UTF-8 become U+FFFD,
// so the output is always a valid JSON text whatever a data file holds.
std::string jsonString(const std::string& text);

// A double as a JSON number (shortest text that reads back the same); null for nan and inf.
std::string jsonNumber(double value);

// The shortest text that reads back as the same double ("nan", "inf", "-inf" for those).
std::string shortestNumber(double value);

// Streams one JSON value with objects and arrays, two-space indentation and separators
// placed automatically.
class JsonWriter {
public:
    explicit JsonWriter(std::ostream& os) : os_(os) {}
    ~JsonWriter();  // ends with a newline once the top-level value is complete

    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& beginArray();
    JsonWriter& endArray();
    JsonWriter& key(const std::string& name);
    JsonWriter& value(const std::string& text);
    JsonWriter& value(const char* text) { return value(std::string(text)); }
    JsonWriter& value(long long number);
    JsonWriter& value(int number) { return value(static_cast<long long>(number)); }
    JsonWriter& value(double number);
    JsonWriter& null();

private:
    void beforeValue();
    void raw(const std::string& text);
    void newline();
    JsonWriter& close(char bracket);

    std::ostream& os_;
    std::vector<bool> hasItems_;  // one entry per open container
    bool afterKey_ = false;
    bool wroteAnything_ = false;
};

}  // namespace tool

#endif
