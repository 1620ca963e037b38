// JSON escaping, number formatting and the streaming writer.
#include "Json.h"

#include <charconv>
#include <cmath>
#include <cstdint>

namespace tool {

namespace {

// Length of the valid UTF-8 sequence starting at s[i], or 0 when it is not one.
std::size_t utf8Length(const std::string& s, std::size_t i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(s[k]); };
    const unsigned char lead = byte(i);
    std::size_t length;
    std::uint32_t code;
    if (lead < 0x80) return 1;
    if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2;
        code = lead & 0x1fu;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3;
        code = lead & 0x0fu;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4;
        code = lead & 0x07u;
    } else {
        return 0;
    }
    if (i + length > s.size()) return 0;
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xc0u) != 0x80u) return 0;
        code = (code << 6) | (byte(i + k) & 0x3fu);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not valid UTF-8.
    if ((length == 3 && code < 0x800) || (length == 4 && (code < 0x10000 || code > 0x10ffff))) return 0;
    if (code >= 0xd800 && code <= 0xdfff) return 0;
    return length;
}

}  // namespace

std::string jsonString(const std::string& text) {
    static const char hex[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c < 0x20 || c == 0x7f) {
            out += "\\u00";
            out += hex[c >> 4];
            out += hex[c & 0xf];
        } else if (c >= 0x80) {
            const std::size_t length = utf8Length(text, i);
            if (length == 0) {
                out += "\\ufffd";
                ++i;
                continue;
            }
            out.append(text, i, length);
            i += length;
            continue;
        } else {
            out += static_cast<char>(c);
        }
        ++i;
    }
    out += '"';
    return out;
}

std::string shortestNumber(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string jsonNumber(double value) {
    if (!std::isfinite(value)) return "null";
    return shortestNumber(value);
}

JsonWriter::~JsonWriter() {
    if (wroteAnything_ && hasItems_.empty()) os_ << '\n';
}

void JsonWriter::newline() {
    os_ << '\n' << std::string(2 * hasItems_.size(), ' ');
}

void JsonWriter::beforeValue() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!hasItems_.empty()) {
        if (hasItems_.back()) os_ << ',';
        hasItems_.back() = true;
        newline();
    }
}

void JsonWriter::raw(const std::string& text) {
    beforeValue();
    os_ << text;
    wroteAnything_ = true;
}

JsonWriter& JsonWriter::beginObject() {
    raw("{");
    hasItems_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::close(char bracket) {
    const bool items = hasItems_.back();
    hasItems_.pop_back();
    if (items) newline();
    os_ << bracket;
    return *this;
}

JsonWriter& JsonWriter::endObject() {
    return close('}');
}

JsonWriter& JsonWriter::beginArray() {
    raw("[");
    hasItems_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endArray() {
    return close(']');
}

JsonWriter& JsonWriter::key(const std::string& name) {
    beforeValue();
    os_ << jsonString(name) << ": ";
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(const std::string& text) {
    raw(jsonString(text));
    return *this;
}

JsonWriter& JsonWriter::value(long long number) {
    raw(std::to_string(number));
    return *this;
}

JsonWriter& JsonWriter::value(double number) {
    raw(jsonNumber(number));
    return *this;
}

JsonWriter& JsonWriter::null() {
    raw("null");
    return *this;
}

}  // namespace tool
