// The session's account: its credentials as they are now, and the change of its password.
#include "session_impl.h"

namespace anadata {

std::pair<std::string, std::string> Session::Impl::credentials() const {
    std::lock_guard<std::mutex> lock(passwordMutex);
    return {options.account, options.password};
}

void Session::Impl::setPassword(const std::string& password) {
    std::lock_guard<std::mutex> lock(passwordMutex);
    options.password = password;
}

void Session::changePassword(const std::string& newPassword) const {
    const auto [account, password] = impl_->credentials();
    impl_->call("change the password of " + account, [&](detail::ServiceCalls& calls) {
        calls.changePassword(account.c_str(), password.c_str(), newPassword.c_str());
    });
    impl_->setPassword(newPassword);
}

}  // namespace anadata
