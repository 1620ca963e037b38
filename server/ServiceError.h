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
        Internal,      // SOAP-ENV:Server: the server failed
    };

    explicit ServiceError(const std::string& message, Kind kind = Kind::Request)
        : std::runtime_error(message), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

#endif
