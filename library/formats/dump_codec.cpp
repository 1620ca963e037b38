// Encoders and decoders of the dump format's items: ints, strings, double arrays and lists.
#include "anadata.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <istream>
#include <memory>
#include <ostream>

#include "column_memory.h"
#include "record_access.h"
#include "stream_budget.h"

namespace qx {

namespace {

constexpr bool littleEndianHost() {
#if defined(__BYTE_ORDER__) && defined(__ORDER_LITTLE_ENDIAN__)
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
#else
    return false;
#endif
}

// Numbers go through a fixed buffer so that neither side needs memory in proportion to a count.
constexpr std::size_t chunkDoubles = 8192;

// The byte-order conversions of hosts that are not little-endian; little-endian hosts read
// and write the arrays directly.
void encodeDoubles(const double* data, std::size_t n, unsigned char* out) {
    for (std::size_t i = 0; i < n; ++i) {
        std::uint64_t bits;
        std::memcpy(&bits, data + i, 8);
        for (int b = 0; b < 8; ++b) out[i * 8 + b] = static_cast<unsigned char>(bits >> (8 * b));
    }
}

void decodeDoubles(const unsigned char* in, std::size_t n, double* data) {
    for (std::size_t i = 0; i < n; ++i) {
        std::uint64_t bits = 0;
        for (int b = 0; b < 8; ++b) bits |= static_cast<std::uint64_t>(in[i * 8 + b]) << (8 * b);
        std::memcpy(data + i, &bits, 8);
    }
}

void fail(std::istream& is) { is.setstate(std::ios::failbit); }

// Reads n doubles into out; false (stream failed) when the input ends first.
bool readDoubles(std::istream& is, std::size_t n, double* out) {
    if (littleEndianHost()) {
        is.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(n * 8));
        if (static_cast<std::size_t>(is.gcount()) == n * 8) return true;
        fail(is);
        return false;
    }
    unsigned char buffer[chunkDoubles * 8];
    for (std::size_t done = 0; done < n;) {
        const std::size_t step = std::min(chunkDoubles, n - done);
        is.read(reinterpret_cast<char*>(buffer), static_cast<std::streamsize>(step * 8));
        if (static_cast<std::size_t>(is.gcount()) != step * 8) {
            fail(is);
            return false;
        }
        decodeDoubles(buffer, step, out + done);
        done += step;
    }
    return true;
}

// Reads a count for items of at least itemBytes bytes; -1 (stream failed) when it cannot be met.
int readCount(std::istream& is, std::int64_t itemBytes) {
    const int count = read_int(is);
    if (!is) return -1;
    if (!mayHold(is, count, itemBytes)) {
        fail(is);
        return -1;
    }
    return count;
}

}  // namespace

void dump(std::ostream& os, int value) {
    const auto bits = static_cast<std::uint32_t>(value);
    const char bytes[4] = {static_cast<char>(bits & 0xff), static_cast<char>((bits >> 8) & 0xff),
                           static_cast<char>((bits >> 16) & 0xff), static_cast<char>((bits >> 24) & 0xff)};
    os.write(bytes, 4);
}

void dump(std::ostream& os, const std::string& s) {
    dump(os, static_cast<int>(s.size()));
    os.write(s.c_str(), static_cast<std::streamsize>(s.size() + 1));
}

void dump(std::ostream& os, const double* data, int n) {
    dump(os, n);
    if (littleEndianHost()) {
        // The array already is its own image: one write, no staging copy.
        if (n > 0) os.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(n) * 8);
        return;
    }
    unsigned char buffer[chunkDoubles * 8];
    for (std::size_t done = 0, total = n > 0 ? static_cast<std::size_t>(n) : 0; done < total;) {
        const std::size_t step = std::min(chunkDoubles, total - done);
        encodeDoubles(data + done, step, buffer);
        os.write(reinterpret_cast<const char*>(buffer), static_cast<std::streamsize>(step * 8));
        done += step;
    }
}

void dump(std::ostream& os, const std::vector<int>& list) {
    dump(os, static_cast<int>(list.size()));
    for (int value : list) dump(os, value);
}

void dump(std::ostream& os, const std::vector<std::string>& list) {
    dump(os, static_cast<int>(list.size()));
    for (const std::string& s : list) dump(os, s);
}

void dump(std::ostream& os, const std::map<std::string, int>& map) {
    dump(os, static_cast<int>(map.size()));
    for (const auto& entry : map) {
        dump(os, entry.first);
        dump(os, entry.second);
    }
}

void dump(std::ostream& os, const std::vector<DimType>& list) {
    dump(os, static_cast<int>(list.size()));
    for (const DimType& column : list) column.dump(os);
}

void DimType::dump(std::ostream& os) const {
    qx::dump(os, name);
    qx::dump(os, unit);
    qx::dump(os, num);
    qx::dump(os, data, num);
}

int read_int(std::istream& is) {
    unsigned char bytes[4] = {0, 0, 0, 0};
    is.read(reinterpret_cast<char*>(bytes), 4);
    if (is.gcount() != 4) return 0;
    const std::uint32_t bits = static_cast<std::uint32_t>(bytes[0]) | (static_cast<std::uint32_t>(bytes[1]) << 8) |
                               (static_cast<std::uint32_t>(bytes[2]) << 16) |
                               (static_cast<std::uint32_t>(bytes[3]) << 24);
    return static_cast<int>(bits);
}

std::string read_string(std::istream& is) {
    const int length = read_int(is);
    if (!is) return std::string();
    if (length < 0 || !mayHold(is, static_cast<std::int64_t>(length) + 1, 1)) {
        fail(is);
        return std::string();
    }
    std::string text;
    std::int64_t wanted = static_cast<std::int64_t>(length) + 1;
    if (bytesLeft(is) >= 0) {
        // The length fits in what is left: read it in one go.
        text.resize(static_cast<std::size_t>(wanted));
        is.read(&text[0], wanted);
        wanted -= is.gcount();
    } else {
        // Unknown length: read in bounded steps, as the stream may end long before `length`.
        char buffer[4096];
        while (wanted > 0 && is) {
            const auto step = static_cast<std::streamsize>(std::min<std::int64_t>(wanted, sizeof buffer));
            is.read(buffer, step);
            text.append(buffer, static_cast<std::size_t>(is.gcount()));
            wanted -= is.gcount();
        }
    }
    if (wanted > 0) return std::string();
    // The stored text ends at its first zero byte.
    text.resize(std::strlen(text.c_str()));
    return text;
}

int read_double_array(std::istream& is, double* out) {
    const int n = readCount(is, 8);
    if (n < 0) return -1;
    return readDoubles(is, static_cast<std::size_t>(n), out) ? n : -1;
}

std::vector<int> read_int_array(std::istream& is) {
    std::vector<int> list;
    const int count = readCount(is, 4);
    for (int i = 0; i < count && is; ++i) {
        const int value = read_int(is);
        if (is) list.push_back(value);
    }
    return list;
}

std::vector<std::string> read_string_array(std::istream& is) {
    std::vector<std::string> list;
    const int count = readCount(is, 5);
    for (int i = 0; i < count && is; ++i) {
        std::string item = read_string(is);
        if (is) list.push_back(std::move(item));
    }
    return list;
}

std::map<std::string, int> read_hash(std::istream& is) {
    std::map<std::string, int> map;
    const int count = readCount(is, 9);
    for (int i = 0; i < count && is; ++i) {
        std::string key = read_string(is);
        const int value = read_int(is);
        if (is) map[key] = value;
    }
    return map;
}

std::vector<DimType> read_dim_array(std::istream& is) {
    std::vector<DimType> list;
    const int count = readCount(is, 18);
    for (int i = 0; i < count && is; ++i) {
        DimType column = DimType::restore(is);
        if (is) list.push_back(column);
    }
    return list;
}

DimType DimType::restore(std::istream& is) {
    std::string name = read_string(is);
    std::string unit = read_string(is);
    const int num = read_int(is);
    if (!is) return DimType();
    // The stored count follows; then num doubles.
    if (num < 0 || !mayHold(is, static_cast<std::int64_t>(num) + 1, 8)) {
        fail(is);
        return DimType();
    }
    // A stream of unknown length is read into a growing buffer so that a false count
    // costs no more memory than the bytes actually present.
    const int stored = read_int(is);
    if (!is || stored != num) {
        fail(is);
        return DimType();
    }
    if (bytesLeft(is) >= 0) {
        // The count fits in what is left: read straight into the column's own array.
        std::unique_ptr<double[]> numbers(allocateColumn(static_cast<std::size_t>(num)));
        if (!readDoubles(is, static_cast<std::size_t>(num), numbers.get())) return DimType();
        return RecordAccess::adopt(std::move(name), std::move(unit), num, numbers.release());
    }
    std::vector<double> numbers;
    for (std::size_t done = 0, total = static_cast<std::size_t>(num); done < total;) {
        const std::size_t step = std::min(chunkDoubles, total - done);
        numbers.resize(done + step);
        if (!readDoubles(is, step, numbers.data() + done)) return DimType();
        done += step;
    }
    return DimType(std::move(name), std::move(unit), num, numbers.data());
}

}  // namespace qx
