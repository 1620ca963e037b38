// The cache subcommand: what the local cache holds, and emptying or trimming it.
#include "Commands.h"

#include <cstdio>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include <anadata/cache.h>
#include <anadata/session.h>

#include "Json.h"
#include "ToolError.h"

namespace tool {

namespace {

// The cache of the settings file; the service's own settings are not needed for it.
anadata::CacheOptions configuredCache(const GlobalOptions& globals) {
    anadata::CacheOptions cache;
    try {
        cache = anadata::loadSettings(globals.ini).cache;
    } catch (const anadata::Error& e) {
        throw ToolError(exitFile, std::string("settings: ") + e.what());
    }
    if (cache.directory.empty()) throw ToolError(exitFile, "cache: no dir= line in the [cache] section of the settings");
    return cache;
}

// 123456789 bytes as "117.7 MiB".
std::string humanBytes(std::uint64_t bytes) {
    const char* units[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB"};
    double amount = static_cast<double>(bytes);
    int unit = 0;
    for (; amount >= 1024 && unit < 5; ++unit) amount /= 1024;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", amount, units[unit]);
    return text;
}

// What the cache holds, after what an upkeep call removed when there was one.
void report(const anadata::CacheInfo& info, const anadata::CacheInfo* removed, bool json) {
    if (json) {
        Json out = {{"directory", info.directory},
                    {"entries", info.entries},
                    {"bytes", info.bytes},
                    {"max_bytes", info.maxBytes}};
        if (removed != nullptr) {
            out["removed_entries"] = removed->entries;
            out["removed_bytes"] = removed->bytes;
        }
        printJson(out);
        return;
    }
    if (removed != nullptr)
        std::cout << "removed    " << removed->entries << " entries (" << humanBytes(removed->bytes) << ")\n";
    std::cout << "directory  " << info.directory << "\nentries    " << info.entries << "\nbytes      "
              << info.bytes << " (" << humanBytes(info.bytes) << ")\nlimit      " << info.maxBytes << " ("
              << humanBytes(info.maxBytes) << ")\n";
}

}  // namespace

void addCacheCommand(CLI::App& app, const GlobalOptions& globals) {
    auto json = std::make_shared<bool>(false);
    CLI::App* cmd = app.add_subcommand("cache", "Show what the local cache holds (entries, bytes, directory), "
                                                "or empty or trim it");
    cmd->require_subcommand(0, 1);
    cmd->add_flag("--json", *json, "Write JSON for scripts");
    CLI::App* clear = cmd->add_subcommand("clear", "Remove every entry of the cache");
    CLI::App* prune = cmd->add_subcommand("prune", "Remove the least recently used entries past the size limit");
    clear->fallthrough();
    prune->fallthrough();
    cmd->callback([&globals, json, clear, prune] {
        const anadata::CacheOptions cache = configuredCache(globals);
        if (!clear->parsed() && !prune->parsed()) {
            report(anadata::cacheInfo(cache), nullptr, *json);
            return;
        }
        // The library's errors name the cache's directory; main() gives them their exit status.
        const anadata::CacheInfo removed = clear->parsed() ? anadata::clearCache(cache) : anadata::pruneCache(cache);
        report(anadata::cacheInfo(cache), &removed, *json);
    });
}

}  // namespace tool
