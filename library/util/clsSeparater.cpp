// clsSeparater: splitting a string into owned fields, deep copy and release.
#include "clsSeparater.h"

#include <cstring>
#include <memory>

char clsSeparater::nul = '\0';

namespace {

char* copyField(const char* text) {
    std::size_t length = std::strlen(text);
    char* field = new char[length + 1];
    std::memcpy(field, text, length + 1);
    return field;
}

}  // namespace

clsSeparater::clsSeparater() : list(nullptr), count(0) {}

clsSeparater::clsSeparater(const char* s, char sep) : list(nullptr), count(0) {
    set(s, sep);
}

clsSeparater::clsSeparater(const clsSeparater& other) : list(nullptr), count(0) {
    *this = other;
}

clsSeparater& clsSeparater::operator=(const clsSeparater& other) {
    if (this == &other) return *this;
    free();
    // A source whose list was released has nothing to copy, whatever its stale count says.
    if (other.list == nullptr) {
        count = 0;
        return *this;
    }
    int n = other.count > 0 ? other.count : 0;
    list = new char*[static_cast<std::size_t>(n)]();
    count = 0;
    for (int i = 0; i < n; ++i) {
        list[i] = copyField(other.list[i]);
        count = i + 1;
    }
    return *this;
}

clsSeparater::~clsSeparater() {
    free();
}

int clsSeparater::set(const char* s, char sep) {
    free();
    count = 0;
    if (s == nullptr) s = "";
    std::size_t length = std::strlen(s);
    std::unique_ptr<char[]> scratch(new char[length + 1]);
    std::memcpy(scratch.get(), s, length + 1);

    std::size_t slots = 1;
    for (std::size_t i = 0; i < length; ++i) {
        if (s[i] == sep) ++slots;
    }
    list = new char*[slots]();

    // strtok_r splits exactly like strtok (runs of separators vanish) without touching the
    // caller's own strtok state.
    const char delimiters[2] = {sep, '\0'};
    char* state = nullptr;
    for (char* token = strtok_r(scratch.get(), delimiters, &state); token != nullptr;
         token = strtok_r(nullptr, delimiters, &state)) {
        list[count] = copyField(token);
        ++count;
    }
    return count;
}

char* clsSeparater::operator[](int i) {
    if (list == nullptr || i < 0 || i >= count) return &nul;
    return list[i];
}

void clsSeparater::free() {
    if (list == nullptr) return;
    for (int i = 0; i < count; ++i) {
        delete[] list[i];
        list[i] = nullptr;
    }
    delete[] list;
    list = nullptr;
}
