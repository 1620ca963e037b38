// Decoding whole base64 groups two at a time, shared by the client's block reader and the server's decoder.
#ifndef ANADATA_BASE64GROUPS_H
#define ANADATA_BASE64GROUPS_H

#include <array>
#include <cstdint>
#include <cstring>

namespace base64groups {

using PlacedTable = std::array<std::array<std::uint32_t, 256>, 4>;

// Each digit's six bits already shifted to its place in a group of four (index 0 = first);
// anything that is not a base64 digit has a bit in the top byte, so one test rejects a group
// that is not all digits.
constexpr PlacedTable makePlaced() {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    PlacedTable placed{};
    for (auto& column : placed)
        for (auto& v : column) v = 0xff000000u;
    for (int k = 0; k < 4; ++k)
        for (std::uint32_t i = 0; i < 64; ++i)
            placed[k][static_cast<unsigned char>(digits[i])] = i << (18 - 6 * k);
    return placed;
}

inline constexpr PlacedTable placed = makePlaced();

// Decodes the eight digits at p into six bytes at o; false, with nothing written, when one of
// them is not a digit. Writes eight bytes at o: the six results, then two spare ones that the
// next store overwrites, so o needs room for eight.
inline bool decodeTwoGroups(const unsigned char* p, unsigned char* o) {
    const std::uint32_t first = placed[0][p[0]] | placed[1][p[1]] | placed[2][p[2]] | placed[3][p[3]];
    const std::uint32_t second = placed[0][p[4]] | placed[1][p[5]] | placed[2][p[6]] | placed[3][p[7]];
    if ((first | second) & 0xff000000u) return false;
    const unsigned char bytes[8] = {
        static_cast<unsigned char>(first >> 16),  static_cast<unsigned char>(first >> 8),
        static_cast<unsigned char>(first),        static_cast<unsigned char>(second >> 16),
        static_cast<unsigned char>(second >> 8),  static_cast<unsigned char>(second),
        0, 0};
    std::memcpy(o, bytes, 8);
    return true;
}

}  // namespace base64groups

#endif
