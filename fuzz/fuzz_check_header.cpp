// Fuzzes checkHeader: any input gives a known code and leaves the stream at its first byte.
#include <cstdint>
#include <cstdlib>
#include <istream>
#include <iterator>
#include <sstream>
#include <string>

#include "anadata.h"
#include "fuzz_streams.h"

namespace {

void check(std::istream& in, const std::string& bytes) {
    const int code = qx::AnaData::checkHeader(in);
    if (code < 0 || code > 2) std::abort();
    const std::string rest((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (rest != bytes) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bool seekable = (data[0] & 1) != 0;
    const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    if (seekable) {
        std::istringstream in(bytes);
        check(in, bytes);
    } else {
        ForwardOnlyBuffer buffer(data + 1, size - 1);
        std::istream in(&buffer);
        check(in, bytes);
    }
    return 0;
}
