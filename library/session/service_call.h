// One call of the service on a leased connection, with its failure turned into an anadata::Error.
#ifndef ANADATA_SESSION_SERVICE_CALL_H
#define ANADATA_SESSION_SERVICE_CALL_H

#include <chrono>
#include <string>

#include "HttpsClient.h"
#include "connection_pool.h"
#include "session.h"

namespace anadata::detail {

// The one translation of a gSOAP status into the session's errors. `plainFault` is the code of a
// service fault that carries no code of its own: the service's generic refusal of this request
// (for a lookup by key, that the key is unknown). `started` is when the call began, to tell a
// time-out from a connection that simply broke.
[[noreturn]] void throwCallFailure(struct soap* soap, int status, const std::string& what, ErrorCode plainFault,
                                   std::chrono::steady_clock::time_point started,
                                   const ConnectionSettings& settings);

// Runs call(soap) on the lease and throws the mapped error when it does not return SOAP_OK.
// `what` names the operation for the messages of local failures ("fetch sample 1234/1").
template <class Call>
void callService(ConnectionPool::Lease& lease, const ConnectionSettings& settings, const std::string& what,
                 ErrorCode plainFault, Call&& call) {
    const auto started = std::chrono::steady_clock::now();
    takeCertificateRefusal();  // only this call's handshake counts
    const int status = call(lease.soap());
    if (status != 0) throwCallFailure(lease.soap(), status, what, plainFault, started, settings);
}

}  // namespace anadata::detail

#endif
