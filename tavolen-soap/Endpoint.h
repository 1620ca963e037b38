// The parts of an endpoint URL the request layer needs apart from the runtime: scheme, host, port.
#ifndef ANADATA_ENDPOINT_H
#define ANADATA_ENDPOINT_H

#include <string>

namespace anadata::detail {

struct EndpointParts {
    bool https = false;
    std::string host;  // without the brackets of an IPv6 address
    int port = 0;      // the scheme's when the URL gives none
    // "http://host:port/": the service as messages name it, without any user part or path.
    std::string origin;
};

// Splits "http[s]://[user@]host[:port][/path]". Anything else gives an empty host.
EndpointParts endpointParts(const std::string& url);

}  // namespace anadata::detail

#endif
