// A bound on what the head of a service reply can make the client allocate.
#ifndef ANADATA_REPLYLIMITS_H
#define ANADATA_REPLYLIMITS_H

#include "soapH.h"

// Sets the context's largest accepted reply to maxBytes and checks the "Content-Length" of every
// reply head before the runtime sizes a buffer from it (it does so for the body of a redirect or
// error reply): a value that is not a plain decimal number, or one above maxBytes, fails the call
// with SOAP_LENGTH. Every other header goes to the runtime's own parser unchanged.
void limitReplies(struct soap* soap, unsigned long maxBytes);

#endif
