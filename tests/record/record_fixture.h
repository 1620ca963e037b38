// What the record tests share: the small record "te" (shot 1234, Time x R, one value Te), its text, a pipe.
#ifndef ANADATA_TEST_RECORD_FIXTURE_H
#define ANADATA_TEST_RECORD_FIXTURE_H

#include <sstream>
#include <streambuf>
#include <string>

#include "anadata.h"
#include "clsException.h"

// Forward-only bytes, like a pipe: seeking fails, so readers cannot learn the length.
class PipeBuffer : public std::streambuf {
public:
    explicit PipeBuffer(std::string text) : text_(std::move(text)) {
        setg(&text_[0], &text_[0], &text_[0] + text_.size());
    }

private:
    std::string text_;
};

// The message of the record error `call` throws, or "<nothing thrown>".
template <class Call>
std::string messageOf(Call call) {
    try {
        call();
    } catch (const qx::AnaDataException& e) {
        return e.getMessage();
    }
    return "<nothing thrown>";
}

// Reads the text on `in` into rec; returns the error message or "".
inline std::string readInto(qx::AnaData& rec, std::istream& in) {
    std::string m = messageOf([&] { in >> rec; });
    return m == "<nothing thrown>" ? "" : m;
}
inline std::string readInto(qx::AnaData& rec, const std::string& text) {
    std::istringstream in(text);
    return readInto(rec, in);
}

inline qx::AnaData exampleRecord() {
    qx::AnaData rec(2, 1);
    rec.setDiagnostics("te");
    rec.setShotNo(1234);
    rec.setDate("03/07/2009 14:05");
    const double time[] = {0.1, 0.2};
    const double radius[] = {3.0, 3.5};
    const double te[] = {2.1, 1.9, 2.2, 1.8};
    rec.setDim(0, "Time", "s", 2, time);
    rec.setDim(1, "R", "m", 2, radius);
    rec.setVal(0, "Te", "keV", 4, te);
    rec.addComment("first fit");
    return rec;
}

// The text the writer must give for exampleRecord(), byte for byte.
inline const char* exampleText() {
    return "# [Parameters]\r\n"
           "# Name='te'\r\n"
           "# ShotNo=1234\r\n"
           "# Date='03/07/2009 14:05'\r\n"
           "# DimNo=2\r\n"
           "# DimName='Time', 'R'\r\n"
           "# DimSize=2, 2\r\n"
           "# DimUnit='s', 'm'\r\n"
           "# ValNo=1\r\n"
           "# ValName='Te'\r\n"
           "# ValUnit='keV'\r\n"
           "#\r\n"
           "# [Comments]\r\n"
           "#\r\n"
           "# first fit\r\n"
           "#\r\n"
           "# [Data] \r\n"
           "1.000000e-01, 3.000000e+00, 2.100000e+00\r\n"
           "1.000000e-01, 3.500000e+00, 1.900000e+00\r\n"
           "2.000000e-01, 3.000000e+00, 2.200000e+00\r\n"
           "2.000000e-01, 3.500000e+00, 1.800000e+00\r\n";
}

#endif
