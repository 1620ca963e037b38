// Complete HTTP answers written without the SOAP runtime: faults, the metrics page, a plain status.
#ifndef ANADATA_SERVER_HTTPANSWERS_H
#define ANADATA_SERVER_HTTPANSWERS_H

#include <string>

#include "ServiceError.h"

// A SOAP 1.1 fault as a whole HTTP message (status 500, then the connection closes): code such as
// "SOAP-ENV:Client", the fault string, and the detail's content as XML (none when empty).
std::string faultAnswer(const char* code, const std::string& text, const std::string& detailXml = std::string());

// The refusal of a request for capacity (a ServiceError of kind Busy) as the operations answer it:
// "SOAP-ENV:Server.Busy", its message, and <retryAfter>N</retryAfter> in the detail.
std::string busyAnswer(const ServiceError& refusal);

// A 200 answer of the given content type and body.
std::string plainAnswer(const char* contentType, const std::string& body);

// An answer of the given status line ("404 Not Found") with a one-line text body.
std::string statusAnswer(const char* status);

// The detail of a busy fault.
std::string retryAfterDetail(int seconds);

#endif
