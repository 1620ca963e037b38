// Temporary locks after repeated failed logins, counted per account name and per client address.
#include "LoginThrottle.h"

#include <algorithm>

#include <arpa/inet.h>

namespace {

// Names longer than an account name may be share their first 255 bytes, so that a guesser's long
// names cannot make the table large.
std::string accountKey(const std::string& name) { return name.substr(0, 255); }

}  // namespace

LoginThrottle::LoginThrottle(LoginLimits limits) : limits_(limits) {
    accounts_.limit = limits.accountFailures;
    addresses_.limit = limits.addressFailures;
}

std::string LoginThrottle::addressKey(const std::string& address) {
    unsigned char bytes[16];
    if (address.find(':') == std::string::npos || inet_pton(AF_INET6, address.c_str(), bytes) != 1) return address;
    std::fill(bytes + 8, bytes + 16, 0);
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, bytes, text, sizeof text);
    return std::string(text) + "/64";
}

int LoginThrottle::waitFor(Table& table, const std::string& key, Clock::time_point now, bool& first) {
    auto it = table.records.find(key);
    if (it == table.records.end()) return 0;
    Record& r = it->second;
    if (r.lockedUntil <= now) {
        if (now - r.last > limits_.memory) table.records.erase(it);
        return 0;
    }
    if (!r.reported) first = true;
    r.reported = true;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(r.lockedUntil - now).count();
    return static_cast<int>((left + 999) / 1000);
}

LoginThrottle::Verdict LoginThrottle::check(const std::string& account, const std::string& address) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto now = Clock::now();
    Verdict v;
    int a = waitFor(accounts_, accountKey(account), now, v.firstRefusal);
    int b = waitFor(addresses_, addressKey(address), now, v.firstRefusal);
    v.waitSeconds = std::max(a, b);
    return v;
}

void LoginThrottle::makeRoom(Table& table, Clock::time_point now) {
    if (table.records.size() < limits_.maxTracked) return;
    for (auto it = table.records.begin(); it != table.records.end();)
        it = it->second.lockedUntil <= now && now - it->second.last > limits_.memory ? table.records.erase(it)
                                                                                        : std::next(it);
    // Still full of recent failures: the name or address that failed longest ago goes.
    if (table.records.size() >= limits_.maxTracked)
        table.records.erase(std::min_element(table.records.begin(), table.records.end(), [](auto& x, auto& y) {
            return x.second.last < y.second.last;
        }));
}

bool LoginThrottle::fail(Table& table, const std::string& key, Clock::time_point now) {
    auto it = table.records.find(key);
    if (it == table.records.end()) {
        makeRoom(table, now);
        it = table.records.emplace(key, Record{}).first;
    }
    Record& r = it->second;
    if (r.failures > 0 && now - r.last > limits_.memory) r.failures = 0;
    ++r.failures;
    r.last = now;
    if (r.failures < table.limit) return false;
    int doublings = std::min(r.failures - table.limit, 20);
    auto lock = std::min<std::chrono::seconds>(limits_.firstLock * (1LL << doublings), limits_.longestLock);
    r.lockedUntil = now + lock;
    r.reported = false;
    return true;
}

bool LoginThrottle::failed(const std::string& account, const std::string& address) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto now = Clock::now();
    bool locked = fail(accounts_, accountKey(account), now);
    return fail(addresses_, addressKey(address), now) || locked;
}

void LoginThrottle::succeeded(const std::string& account) {
    std::lock_guard<std::mutex> lock(mutex_);
    accounts_.records.erase(accountKey(account));
}
