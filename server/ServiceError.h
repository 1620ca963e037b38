// The one exception of the server: a message for the client, sent back as a SOAP fault of its kind.
#ifndef ANADATA_SERVER_SERVICEERROR_H
#define ANADATA_SERVER_SERVICEERROR_H

#include <stdexcept>
#include <string>

class ServiceError : public std::runtime_error {
public:
    // What the fault blames, so that clients can act on it without reading the message.
    enum class Kind {
        Request,       // SOAP-ENV:Client: the request cannot be served as it is
        NotFound,      // SOAP-ENV:Client.NotFound: no such data set, path, experiment-log shot or column
        Unauthorized,  // SOAP-ENV:Client.Unauthorized: refused login, or an entry of another account
        Busy,          // SOAP-ENV:Server.Busy: refused for capacity; the same request may succeed later
        Internal,      // SOAP-ENV:Server: the server failed
    };

    explicit ServiceError(const std::string& message, Kind kind = Kind::Request)
        : std::runtime_error(message), kind_(kind) {}

    // A refusal for capacity: "WHAT, try again in N s", with N (at least 1) for the fault's detail.
    static ServiceError busy(const std::string& what, int retryAfterSeconds = 1) {
        if (retryAfterSeconds < 1) retryAfterSeconds = 1;
        ServiceError e(what + ", try again in " + std::to_string(retryAfterSeconds) + " s", Kind::Busy);
        e.retryAfter_ = retryAfterSeconds;
        return e;
    }

    Kind kind() const { return kind_; }
    int retryAfter() const { return retryAfter_; }  // seconds, for Busy

private:
    Kind kind_;
    int retryAfter_ = 0;
};

#endif
