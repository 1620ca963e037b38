// Temporary locks after repeated failed logins, counted per account name and per client address.
#ifndef ANADATA_SERVER_LOGINTHROTTLE_H
#define ANADATA_SERVER_LOGINTHROTTLE_H

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>

struct LoginLimits {
    int accountFailures = 5;   // failures in a row that lock an account name
    int addressFailures = 20;  // failures in a row that lock a client address, whatever the accounts
    std::chrono::seconds firstLock{1};     // each further failure doubles the lock ...
    std::chrono::seconds longestLock{300};  // ... up to this
    std::chrono::seconds memory{900};       // failures are forgotten after this long without one
    std::size_t maxTracked = 10000;        // names and addresses remembered at most, each
};

class LoginThrottle {
public:
    explicit LoginThrottle(LoginLimits limits = {});

    struct Verdict {
        int waitSeconds = 0;        // 0: the login may be checked
        bool firstRefusal = false;  // the first refusal of this lock, the one worth reporting
    };
    // Whether a login of account from address may be checked now.
    Verdict check(const std::string& account, const std::string& address);
    // Counts a failed login against both, locking whichever reached its limit; true when this
    // failure locked the name or the address.
    bool failed(const std::string& account, const std::string& address);
    // A successful login clears the account's count (not the address's, which an attacker with an
    // account of his own could otherwise clear between guesses).
    void succeeded(const std::string& account);

    // The key an address is counted under: IPv6 addresses by their /64 network, which one host owns.
    static std::string addressKey(const std::string& address);

private:
    using Clock = std::chrono::steady_clock;
    struct Record {
        int failures = 0;
        Clock::time_point last, lockedUntil;
        bool reported = false;
    };
    struct Table {
        std::map<std::string, Record> records;
        int limit = 0;
    };
    int waitFor(Table& table, const std::string& key, Clock::time_point now, bool& first);
    bool fail(Table& table, const std::string& key, Clock::time_point now);
    void makeRoom(Table& table, Clock::time_point now);

    LoginLimits limits_;
    std::mutex mutex_;
    Table accounts_, addresses_;
};

#endif
