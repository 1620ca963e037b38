// Setting a client context up for https endpoints, as every connection of the request layer is.
#ifndef ANADATA_HTTPSCLIENT_H
#define ANADATA_HTTPSCLIENT_H

#include <string>

struct soap;

// Whether the endpoint is an https URL.
bool isHttpsEndpoint(const char* endpoint);

// Makes the context verify the certificate of the endpoint's service and that it names the
// endpoint's host (name or address), against caFile (a PEM bundle) when it is given and not empty,
// else against the system's store; TLS 1.2 and later only. Returns the SOAP status (0 on
// success), with the fault left in the context.
int setUpHttps(struct soap* soap, const char* endpoint, const char* caFile);

// Why the calling thread's last handshake refused the service's certificate ("certificate ...:
// <OpenSSL's reason>"), and forgets it; empty when no certificate was refused since the last call.
std::string takeCertificateRefusal();

#endif
