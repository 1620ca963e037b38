// The service's operations as calls on one connection: each request built here, each failure read here.
#ifndef ANADATA_SERVICECALLS_H
#define ANADATA_SERVICECALLS_H

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CallFailure.h"
#include "Connection.h"
#include "RetryPolicy.h"
#include "TavolenInfo.h"

namespace anadata::detail {

// What a caller does with a failed call: print it and go on, or throw.
using FailureHandler = std::function<void(const CallFailure&)>;

// The catalogue record a registration begins with. Strings may be null; they are sent as given.
struct RegistrationInfo {
    const char* name = nullptr;      // data name ("diagnostics")
    const char* fileName = nullptr;  // the archive's name, "<file>.zip"
    const char* fileDate = nullptr;  // "YYYY-MM-DD hh:mm:ss"
    const char* account = nullptr;   // "userid"
    const char* summary = nullptr;
    int shot = 0;
    int subshot = 0;
    int length = 0;  // bytes of the archive
};

// Every call sends the contract's request to the connection's endpoint with a null SOAP action,
// passing strings as given (a null one travels as nil), and returns true on SOAP status 0. On any
// other outcome the handler receives the failure (it may throw) and the call returns false,
// leaving its results unspecified. Results are copied out of the context: null strings become "",
// lists are replaced. A connection whose https set-up failed fails every call without a request.
// A failure that mayRetry() allows is first tried again on a fresh connection, as the retry policy
// says (by default it does not), as long as the wait ends well within the request's time-out,
// counted from the first attempt; only the last failure reaches the handler.
class ServiceCalls {
public:
    ServiceCalls(Connection& connection, FailureHandler onFailure, RetryPolicy retry = {})
        : connection_(connection), onFailure_(std::move(onFailure)), retry_(retry) {}

    Connection& connection() const { return connection_; }
    RetryPolicy& retry() { return retry_; }

    // Runs `call` (calls on this object) with failures kept instead of handled; returns the last
    // one, if any. Whatever `call` throws passes through.
    template <class Call>
    std::optional<CallFailure> attempt(Call&& call) {
        std::optional<CallFailure> failed;
        struct Restore {
            ServiceCalls& calls;
            FailureHandler kept;
            ~Restore() { calls.onFailure_ = std::move(kept); }
        } restore{*this, std::exchange(onFailure_, [&failed](const CallFailure& f) { failed = f; })};
        call();
        return failed;
    }
    // Hands a failure kept by attempt() to the handler.
    void report(const CallFailure& failure) { onFailure_(failure); }

    bool dataPath(const char* name, int shot, int subshot, std::string& path);
    // At most `size` bytes of the server file from `offset`; empty at its end.
    bool dataBlock(const char* path, int offset, int size, std::vector<unsigned char>& block);

    // Opens a registration session (replace on) and gives its key.
    bool beginRegistration(const char* account, const char* password, const RegistrationInfo& info,
                           std::string& key);
    // "ret" of these calls is received and not judged: the status decides. putData's "ret" is the
    // length the service holds after the block, given in `held` when asked for; a block of size 0
    // asks only for that.
    bool putBlock(const char* key, const unsigned char* data, int size, int* held = nullptr);
    bool endRegistration(const char* key);
    bool abortRegistration(const char* key);
    bool deleteEntry(const char* account, const char* password, const char* name, int shot, int subshot);

    bool listEntries(const std::vector<std::string>& names, int lower, int higher, int subshot, const char* user,
                     int limit, std::vector<qx::TavolenInfo>& rows);
    bool names(std::vector<std::string>& names);
    bool nameCounts(std::vector<qx::DiagEntry>& rows);
    bool shotCounts(const char* name, int shot, int range, std::vector<qx::NumEntry>& rows);

    bool explogColumns(std::vector<std::string>& columns);
    bool explogRow(int shot, std::vector<std::string>& values);
    bool explogValue(int shot, const char* column, std::string& value);

    bool changePassword(const char* account, const char* oldPassword, const char* newPassword);

private:
    // Runs one request (built by `request` on the context, to the endpoint) and reports its failure.
    bool run(Operation operation, const std::function<int(struct soap*, const char* endpoint)>& request);

    Connection& connection_;
    FailureHandler onFailure_;
    RetryPolicy retry_;
};

}  // namespace anadata::detail

#endif
