// A private directory under $TMPDIR (else /tmp) for one test, removed with everything in it when the test ends.
#ifndef ANADATA_TEST_TEMPDIR_H
#define ANADATA_TEST_TEMPDIR_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

class TempDir {
public:
    TempDir() {
        // CTest gives every test a TMPDIR that it removes afterwards, also after an abort.
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/anadata-test-XXXXXX";
        if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed in " + pattern);
        path_ = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path) {
    // Whole buffers at a time: a character at a time takes seconds for a few megabytes in a debug build.
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    if (in.peek() != std::ifstream::traits_type::eof()) bytes << in.rdbuf();
    return bytes.str();
}

inline void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

#endif
