// Accounts of the service: salted PBKDF2 password hashes in the catalogue, checked with a memory cache.
#include "Accounts.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include "Catalogue.h"
#include "ServiceError.h"

namespace {

const size_t kHashBytes = 32;

std::string randomBytes(size_t n) {
    std::string out(n, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(&out[0]), static_cast<int>(n)) != 1)
        throw ServiceError("no random bytes available", ServiceError::Kind::Internal);
    return out;
}

bool sameBytes(const std::string& a, const std::string& b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

const char* const kBadLogin = "bad user name or password";

}  // namespace

Accounts::Accounts(int iterations)
    : iterations_(iterations), processKey_(randomBytes(32)), dummySalt_(randomBytes(16)) {}

std::string Accounts::derive(const std::string& password, const std::string& salt, int iterations) {
    std::string out(kHashBytes, '\0');
    if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()),
                          reinterpret_cast<const unsigned char*>(salt.data()), static_cast<int>(salt.size()),
                          iterations, EVP_sha256(), static_cast<int>(kHashBytes),
                          reinterpret_cast<unsigned char*>(&out[0])) != 1)
        throw ServiceError("password hashing failed", ServiceError::Kind::Internal);
    return out;
}

std::string Accounts::remember(const std::string& password) const {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int len = 0;
    HMAC(EVP_sha256(), processKey_.data(), static_cast<int>(processKey_.size()),
         reinterpret_cast<const unsigned char*>(password.data()), password.size(), digest, &len);
    return std::string(reinterpret_cast<char*>(digest), len);
}

void Accounts::set(Catalogue& catalogue, const std::string& name, const std::string& password) {
    if (name.empty() || name.size() > 64) throw ServiceError("user name must have 1 to 64 characters");
    for (unsigned char c : name)
        if (c < 0x20 || c == 0x7f) throw ServiceError("user name must not contain control characters");
    if (password.empty()) throw ServiceError("password must not be empty");
    if (password.size() > 1024) throw ServiceError("password is longer than 1024 bytes");
    StoredAccount a{name, randomBytes(16), std::string(), iterations_};
    a.hash = derive(password, a.salt, a.iterations);
    catalogue.storeAccount(a);
    std::lock_guard<std::mutex> lock(mutex_);
    verified_.erase(name);
}

void Accounts::check(Catalogue& catalogue, const std::string& name, const std::string& password) {
    auto stored = catalogue.account(name);
    std::string token = remember(password);
    if (stored) {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = verified_.find(name);
        if (it != verified_.end() && sameBytes(it->second.first, stored->hash) && sameBytes(it->second.second, token))
            return;
    }
    // An unknown name costs one derivation as well, against a salt made up at start-up, so that the time of a
    // refusal does not tell which accounts exist.
    StoredAccount against = stored && stored->iterations > 0 ? *stored
                                                              : StoredAccount{name, dummySalt_, "", iterations_};
    bool match = sameBytes(derive(password, against.salt, against.iterations), against.hash);
    if (!stored || !match || password.size() > 1024) throw ServiceError(kBadLogin, ServiceError::Kind::Unauthorized);
    std::lock_guard<std::mutex> lock(mutex_);
    verified_[name] = {stored->hash, token};
}
