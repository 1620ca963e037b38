// Setting a SOAP context up for the endpoint, and clearing it between operations.
#include "Connection.h"

#include <new>
#include <utility>

#include <sys/socket.h>

#include "HttpsClient.h"
#include "MessageLimits.h"
#include "soapH.h"

namespace anadata::detail {

Connection::Connection(ConnectionSettings settings)
    : settings_(std::move(settings)),
      // Requests are written as plain trees: a string passed twice (the account as "user" and as
      // the record's "userid") must not become an href to a shared, typed element.
      soap_(soap_new2(SOAP_IO_KEEPALIVE, SOAP_IO_KEEPALIVE | SOAP_XML_TREE)) {
    if (soap_ == nullptr) throw std::bad_alloc();
    const int io = static_cast<int>(settings_.ioTimeout.count());
    soap_->connect_timeout = io;
    soap_->send_timeout = io;
    soap_->recv_timeout = io;
    soap_->transfer_timeout = static_cast<int>(settings_.requestTimeout.count());
    // A peer that hangs up mid-request must give a failed call, not a SIGPIPE.
    soap_->socket_flags = MSG_NOSIGNAL;
    // The kernel sizes the socket buffers to the link: the runtime's fixed 64 KiB would cap a
    // block's transfer at a window of that size per round trip.
    soap_->sndbuf = 0;
    soap_->rcvbuf = 0;
    limitIncomingMessages(soap_, maxReplyBytes);
    if (isHttpsEndpoint(settings_.endpoint.c_str()))
        setupStatus_ = setUpHttps(soap_, settings_.endpoint.c_str(), settings_.caFile.c_str());
}

Connection::~Connection() {
    soap_destroy(soap_);
    soap_end(soap_);
    soap_free(soap_);  // closes the connection and releases the https state too
}

std::string Connection::setupFailure() const {
    const char** text = soap_faultdetail(soap_);
    return text != nullptr && *text != nullptr ? *text : "";
}

void Connection::close() {
    soap_force_closesock(soap_);
}

void Connection::reset() {
    soap_destroy(soap_);
    soap_end(soap_);
    if (soap_->error != SOAP_OK) {
        soap_force_closesock(soap_);
        soap_->error = SOAP_OK;
    }
}

}  // namespace anadata::detail
