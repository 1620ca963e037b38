// Reading the reply of "ns:getData" with a table-driven base64 decoder instead of the runtime's generic one.
#ifndef ANADATA_DATABLOCKREPLY_H
#define ANADATA_DATABLOCKREPLY_H

#include <vector>

#include "soapH.h"

// Receives the reply to a "ns:getData" request sent with soap_send_ns__getData, like
// soap_recv_ns__getData, but decodes the "bin" element straight into `block` (replaced).
// The wire format is the same: base64 text, white space allowed, "=" padding optional. Not
// accepted (the call fails): character references inside the text, and an element given by
// reference (href); no server writes either for a block. Returns the SOAP status (0 on success), with
// a fault or error left in the context like the generated receiver.
int receiveDataBlock(struct soap* soap, std::vector<unsigned char>& block);

#endif
