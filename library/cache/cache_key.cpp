// Entry and temporary file names of the cache.
#include "cache_key.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>

#include <unistd.h>

namespace anadata::detail {

namespace {

// FNV-1a: stable across builds and machines, which std::hash is not.
class Fnv1a {
public:
    void add(const void* data, std::size_t size) {
        const auto* bytes = static_cast<const unsigned char*>(data);
        for (std::size_t i = 0; i < size; ++i) {
            hash_ ^= bytes[i];
            hash_ *= 0x100000001b3ULL;
        }
    }
    void add(const std::string& text) { add(text.c_str(), text.size() + 1); }
    void add(int value) {
        const auto bits = static_cast<std::uint32_t>(value);
        const unsigned char bytes[4] = {static_cast<unsigned char>(bits), static_cast<unsigned char>(bits >> 8),
                                        static_cast<unsigned char>(bits >> 16), static_cast<unsigned char>(bits >> 24)};
        add(bytes, 4);
    }
    std::uint64_t value() const { return hash_; }

private:
    std::uint64_t hash_ = 0xcbf29ce484222325ULL;
};

constexpr char temporaryPrefix[] = ".tmp.";

bool lowerHex(const char* text, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        if (!((text[i] >= '0' && text[i] <= '9') || (text[i] >= 'a' && text[i] <= 'f'))) return false;
    return true;
}

}  // namespace

EntryName entryNameOf(const CacheKey& key) {
    Fnv1a hash;
    hash.add(key.endpoint);
    hash.add(key.name);
    hash.add(key.shot);
    hash.add(key.subshot);
    EntryName name;
    const auto value = static_cast<unsigned long long>(hash.value());
    std::snprintf(name.file, sizeof name.file, "%016llx.entry", value);
    std::memcpy(name.shard, name.file, 2);
    name.shard[2] = '\0';
    return name;
}

bool isShardName(const char* name) {
    return std::strlen(name) == 2 && lowerHex(name, 2);
}

bool isEntryName(const char* name) {
    return std::strlen(name) == 22 && lowerHex(name, 16) && std::strcmp(name + 16, ".entry") == 0;
}

bool isTemporaryName(const char* name) {
    return std::strncmp(name, temporaryPrefix, sizeof temporaryPrefix - 1) == 0;
}

std::string temporaryName() {
    // The process id tells processes apart; the salt, processes of other machines on a shared disk.
    static const std::uint64_t salt = [] {
        struct timespec now;
        ::clock_gettime(CLOCK_REALTIME, &now);
        return std::mt19937_64(static_cast<std::uint64_t>(now.tv_nsec) ^ static_cast<std::uint64_t>(now.tv_sec))();
    }();
    static std::atomic<std::uint64_t> counter{0};
    char name[64];
    std::snprintf(name, sizeof name, "%s%ld.%llx.%llx", temporaryPrefix, static_cast<long>(::getpid()),
                  static_cast<unsigned long long>(salt), static_cast<unsigned long long>(counter++));
    return name;
}

}  // namespace anadata::detail
