// One SOAP context set up for the service's endpoint: modes, time-outs, the bound on replies, https.
#ifndef ANADATA_CONNECTION_H
#define ANADATA_CONNECTION_H

#include <chrono>
#include <string>
#include <vector>

struct soap;

namespace anadata::detail {

// Bytes per block of both transfers.
inline constexpr int blockSize = 819200;
// Largest reply accepted: a block is about 1.1 MB as base64, a result list rarely more. A service
// that sends or announces more fails the call instead of being buffered without bound.
inline constexpr unsigned long maxReplyBytes = 256ul << 20;

// What a connection is set up with; connections with equal settings are interchangeable.
struct ConnectionSettings {
    std::string endpoint;
    std::string caFile;  // https only; empty: the system's store
    // Each connect, send and receive: a stalled peer fails the call after this long.
    std::chrono::seconds ioTimeout{30};
    // Each request with its reply: one that trickles in fails once this has passed.
    std::chrono::seconds requestTimeout{120};
    // A plain http:// call hung up on before any reply looks whether the port speaks TLS, so that
    // its failure can say so (one more connection to the service, made only then).
    bool probeTls = false;
};

// A context that keeps its connection open from one call to the next. One thread uses it at a time.
class Connection {
public:
    // Sets the context up; an https set-up that fails leaves its fault in the context (see
    // setupStatus). Makes no connection yet. Throws std::bad_alloc when no context can be made.
    explicit Connection(ConnectionSettings settings);
    // Frees the results and closes the connection.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    struct soap* soap() const { return soap_; }
    const ConnectionSettings& settings() const { return settings_; }

    // 0, or the status of an https set-up that failed; every call on the connection then fails
    // with that fault without reaching the network.
    int setupStatus() const { return setupStatus_; }
    // What the failed set-up's fault says, "" without one.
    std::string setupFailure() const;

    // Closes the connection; the next call opens a fresh one.
    void close();

    // Room for the blocks of transfers on this connection, kept from one to the next so that a
    // loop of downloads does not allocate a block's worth of memory for each (the contents are
    // whatever the last transfer left).
    std::vector<unsigned char>& blockBuffer() { return block_; }

    // Frees the results of the calls so far (copy them out first). After a failed call the
    // connection may be in the middle of a message, so it is closed and the next call opens a
    // fresh one.
    void reset();

private:
    ConnectionSettings settings_;
    struct soap* soap_;
    int setupStatus_ = 0;
    std::vector<unsigned char> block_;
};

}  // namespace anadata::detail

#endif
