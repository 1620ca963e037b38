// The one exception of the server: a message for the client, sent back as a SOAP fault.
#ifndef ANADATA_SERVER_SERVICEERROR_H
#define ANADATA_SERVER_SERVICEERROR_H

#include <stdexcept>
#include <string>

class ServiceError : public std::runtime_error {
public:
    // internal: the fault blames the server instead of the request.
    explicit ServiceError(const std::string& message, bool internal = false)
        : std::runtime_error(message), internal_(internal) {}
    bool internal() const { return internal_; }

private:
    bool internal_;
};

#endif
