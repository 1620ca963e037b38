// A bound on what the head of an incoming HTTP message can make the runtime allocate.
#ifndef ANADATA_MESSAGELIMITS_H
#define ANADATA_MESSAGELIMITS_H

#include "soapH.h"

// Sets the context's largest accepted message (reply on the client, request on the server) to
// maxBytes and checks the length of every incoming head before the runtime sizes a buffer from it
// (it does so for the body of a redirect or error status). Every header the runtime takes as the
// length is checked, which is not only "Content-Length": its name comparison ignores case, lets any
// byte stand where the name has "-" and stops at a '"' ("Content/Length", "content_length" and
// "Content-Length\"x" count too). A value that is not a plain decimal number, or one above maxBytes,
// fails the call or request with SOAP_LENGTH. Every other header goes to the runtime's own parser
// unchanged.
void limitIncomingMessages(struct soap* soap, unsigned long maxBytes);

#endif
