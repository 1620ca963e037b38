// Setting a client context up for https endpoints, the same way for the record's client and the sessions.
#ifndef ANADATA_HTTPSCLIENT_H
#define ANADATA_HTTPSCLIENT_H

struct soap;

// Whether the endpoint is an https URL.
bool isHttpsEndpoint(const char* endpoint);

// Makes the context verify the service's certificate and host name, against caFile (a PEM bundle)
// when it is given and not empty, else against the system's store; TLS 1.2 and later only.
// Returns the SOAP status (0 on success), with the fault left in the context.
int setUpHttps(struct soap* soap, const char* caFile);

#endif
