// Splitting an endpoint URL into scheme, host and port.
#include "Endpoint.h"

#include <cstdlib>

namespace anadata::detail {

EndpointParts endpointParts(const std::string& url) {
    EndpointParts parts;
    std::string rest;
    if (url.compare(0, 8, "https://") == 0) {
        parts.https = true;
        rest = url.substr(8);
    } else if (url.compare(0, 7, "http://") == 0) {
        rest = url.substr(7);
    } else {
        return parts;
    }
    rest = rest.substr(0, rest.find_first_of("/?#"));
    if (const auto at = rest.rfind('@'); at != std::string::npos) rest.erase(0, at + 1);
    std::string port;
    if (!rest.empty() && rest.front() == '[') {
        const auto close = rest.find(']');
        parts.host = rest.substr(1, close == std::string::npos ? std::string::npos : close - 1);
        if (close != std::string::npos && close + 1 < rest.size() && rest[close + 1] == ':') port = rest.substr(close + 2);
    } else {
        const auto colon = rest.find(':');
        parts.host = rest.substr(0, colon);
        if (colon != std::string::npos) port = rest.substr(colon + 1);
    }
    parts.port = port.empty() ? (parts.https ? 443 : 80) : std::atoi(port.c_str());
    const bool literal6 = parts.host.find(':') != std::string::npos;
    parts.origin = std::string(parts.https ? "https://" : "http://") + (literal6 ? "[" + parts.host + "]" : parts.host) +
                   ":" + std::to_string(parts.port) + "/";
    return parts;
}

}  // namespace anadata::detail
