// Entry and temporary file names of the cache.
#include "cache_key.h"

#include <algorithm>
#include <atomic>
#include <cctype>
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

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

std::string cacheEndpoint(const std::string& endpoint) {
    const std::string::size_type schemeEnd = endpoint.find("://");
    if (schemeEnd == std::string::npos) return endpoint;
    const std::string scheme = lowerCase(endpoint.substr(0, schemeEnd));
    const std::string::size_type hostStart = schemeEnd + 3;
    const std::string::size_type pathStart = std::min(endpoint.find_first_of("/?#", hostStart), endpoint.size());
    std::string authority = endpoint.substr(hostStart, pathStart - hostStart);
    // Account names before an "@" keep their case; host names have none.
    const std::string::size_type at = authority.rfind('@');
    const std::string::size_type host = at == std::string::npos ? 0 : at + 1;
    authority = authority.substr(0, host) + lowerCase(authority.substr(host));
    const std::string defaultPort = scheme == "http" ? ":80" : scheme == "https" ? ":443" : "";
    if (!defaultPort.empty() && authority.size() > defaultPort.size() &&
        authority.compare(authority.size() - defaultPort.size(), defaultPort.size(), defaultPort) == 0)
        authority.erase(authority.size() - defaultPort.size());
    std::string rest = endpoint.substr(pathStart);
    if (rest.empty() || rest[0] != '/') rest.insert(0, "/");
    return scheme + "://" + authority + rest;
}

EntryName entryNameOf(const CacheKey& key) {
    Fnv1a hash;
    hash.add(key.endpoint);
    hash.add(key.name);
    hash.add(key.shot);
    hash.add(key.subshot);
    hash.add(static_cast<int>(key.kind));
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
