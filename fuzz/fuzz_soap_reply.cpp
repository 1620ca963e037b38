// libFuzzer target: the client's reading of service replies (HTTP head, envelope, every result type),
// with the block reader checked against the runtime's own base64 decoder wherever both accept a reply.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "DataBlockReply.h"
#include "MessageLimits.h"
#include "fuzz_gsoap_suppressions.h"
#include "soapH.h"

namespace {

// A context set up like the wrapper's, reading the reply from `in` instead of a socket.
struct ReplyContext {
    explicit ReplyContext(std::istream& in) : soap(SOAP_IO_KEEPALIVE, SOAP_IO_KEEPALIVE | SOAP_XML_TREE) {
        limitIncomingMessages(&soap, 1 << 20);
        soap.is = &in;
    }
    ~ReplyContext() {
        soap_destroy(&soap);
        soap_end(&soap);
        soap_done(&soap);
    }
    struct soap soap;
};

void compareBlockReaders(const std::string& reply) {
    std::istringstream ours(reply), theirs(reply);
    ReplyContext a(ours), b(theirs);
    std::vector<unsigned char> block;
    const int ourStatus = receiveDataBlock(&a.soap, block);
    ns__Binary bin;
    const int theirStatus = soap_recv_ns__getData(&b.soap, bin);
    if (ourStatus != SOAP_OK || theirStatus != SOAP_OK) return;
    const std::size_t theirSize = bin.__ptr != nullptr && bin.__size > 0 ? static_cast<std::size_t>(bin.__size) : 0;
    if (block.size() != theirSize || (theirSize > 0 && std::memcmp(block.data(), bin.__ptr, theirSize) != 0))
        std::abort();
}

void readReply(unsigned which, const std::string& reply) {
    std::istringstream in(reply);
    ReplyContext context(in);
    struct soap* soap = &context.soap;
    char* text = nullptr;
    int number = 0;
    switch (which) {
    case 0: compareBlockReaders(reply); break;
    case 1: soap_recv_ns__getTavolenDataPath(soap, text); break;
    case 2: { ns__StringArray names; soap_recv_ns__getDiagnostics(soap, names); break; }
    case 3: { ns__NumEntryArray rows; soap_recv_ns__getNumEntry(soap, rows); break; }
    case 4: { ns__DiagEntryArray rows; soap_recv_ns__getDiagEntry(soap, rows); break; }
    case 5: { ns__TavolenInfoArray rows; soap_recv_ns__listTavolenInfo(soap, rows); break; }
    case 6: soap_recv_ns__beginTavolenDataRegistration(soap, text); break;
    case 7: soap_recv_ns__putData(soap, number); break;
    case 8: soap_recv_ns__getExplogColumnValue(soap, text); break;
    default: { ns__StringArray values; soap_recv_ns__getExplogColumnValues(soap, values); break; }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    readReply(data[0] % 10u, std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    return 0;
}
