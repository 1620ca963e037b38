// Telling whether a service that hung up on a plain HTTP request speaks TLS on that port.
#ifndef ANADATA_TLSPROBE_H
#define ANADATA_TLSPROBE_H

#include <chrono>
#include <string>

namespace anadata::detail {

// Connects to host:port and starts a TLS handshake (without verifying anything); true when the
// peer answers it as a TLS server. Gives up after `limit`, and is false on any failure.
bool answersTls(const std::string& host, int port, std::chrono::milliseconds limit);

}  // namespace anadata::detail

#endif
