// Accounts of the service: salted PBKDF2 password hashes in the catalogue, checked with a memory cache.
#ifndef ANADATA_SERVER_ACCOUNTS_H
#define ANADATA_SERVER_ACCOUNTS_H

#include <map>
#include <mutex>
#include <string>

class Catalogue;

class Accounts {
public:
    static constexpr int kDefaultIterations = 100000;

    // iterations: PBKDF2 rounds of the passwords it sets, and of the check of an unknown name.
    explicit Accounts(int iterations = kDefaultIterations);

    // Creates or resets an account. Throws ServiceError for an unusable name or an empty password.
    void set(Catalogue& catalogue, const std::string& name, const std::string& password);
    // Throws ServiceError "bad user name or password" unless the pair matches a stored account. A refusal
    // takes as long for an unknown name as for a known one.
    void check(Catalogue& catalogue, const std::string& name, const std::string& password);

    static std::string derive(const std::string& password, const std::string& salt, int iterations);

private:
    std::string remember(const std::string& password) const;

    int iterations_;
    std::string processKey_;
    std::string dummySalt_;
    std::mutex mutex_;
    // name -> (stored hash, keyed digest of the password that matched it): avoids re-deriving the
    // slow hash on every request while a reset through the catalogue still invalidates the entry.
    std::map<std::string, std::pair<std::string, std::string>> verified_;
};

#endif
