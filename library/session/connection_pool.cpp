// Setting up SOAP contexts for a session's endpoint and keeping the idle ones with their connections.
#include "connection_pool.h"

#include <sys/socket.h>

#include "HttpsClient.h"
#include "MessageLimits.h"
#include "TavolenSoapClient.h"
#include "session.h"
#include "soapH.h"

namespace anadata::detail {

namespace {

void freeContext(struct soap* soap) {
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);  // closes the connection and releases the https state too
}

}  // namespace

ConnectionPool::ConnectionPool(ConnectionSettings settings, int maxIdle)
    : settings_(std::move(settings)), maxIdle_(maxIdle > 0 ? static_cast<std::size_t>(maxIdle) : 0) {}

ConnectionPool::~ConnectionPool() {
    for (struct soap* soap : idle_) freeContext(soap);
}

struct soap* ConnectionPool::create() const {
    // The same modes as the qx:: client, so that both put the same bytes on the wire.
    struct soap* soap = soap_new2(SOAP_IO_KEEPALIVE, SOAP_IO_KEEPALIVE | SOAP_XML_TREE);
    if (soap == nullptr) throw Error(ErrorCode::transport, "out of memory setting up a connection");
    const int io = static_cast<int>(settings_.ioTimeout.count());
    soap->connect_timeout = io;
    soap->send_timeout = io;
    soap->recv_timeout = io;
    // Bounds the whole of one request and its reply, however slowly it trickles in.
    soap->transfer_timeout = static_cast<int>(settings_.requestTimeout.count());
    soap->socket_flags = MSG_NOSIGNAL;
    limitIncomingMessages(soap, TavolenSoapClient::MAX_REPLY_BYTES);
    if (isHttpsEndpoint(settings_.endpoint.c_str()) && setUpHttps(soap, settings_.endpoint.c_str(), settings_.caFile.c_str()) != SOAP_OK) {
        const char** text = soap_faultdetail(soap);
        const std::string detail = text != nullptr && *text != nullptr ? *text : "";
        freeContext(soap);
        throw Error(ErrorCode::certificate, "cannot set up https with CA file '" + settings_.caFile + "'" +
                                                (detail.empty() ? "" : ": " + detail));
    }
    return soap;
}

ConnectionPool::Lease ConnectionPool::acquire() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!idle_.empty()) {
            struct soap* soap = idle_.back();
            idle_.pop_back();
            return Lease(*this, soap);
        }
    }
    return Lease(*this, create());
}

void ConnectionPool::giveBack(struct soap* soap) {
    soap_destroy(soap);
    soap_end(soap);
    // After a failure the connection may be in the middle of a message.
    if (soap->error != SOAP_OK) {
        soap_force_closesock(soap);
        soap->error = SOAP_OK;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (idle_.size() < maxIdle_) {
            idle_.push_back(soap);
            return;
        }
    }
    freeContext(soap);
}

ConnectionPool::Lease::~Lease() {
    if (soap_ != nullptr) pool_->giveBack(soap_);
}

}  // namespace anadata::detail
