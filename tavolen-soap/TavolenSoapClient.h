// TavolenSoapClient: one SOAP context bound to one endpoint, with a method per service call and the chunked transfers.
#ifndef ANADATA_TAVOLENSOAPCLIENT_H
#define ANADATA_TAVOLENSOAPCLIENT_H

#include <string>
#include <vector>

#include "soapH.h"

// Internal to the library: the access object builds one client per operation, copies what it
// needs out of the results and destroys the client. Results (arrays, strings) live in the
// client's SOAP context and are valid only until the client is destroyed.
//
// Every method returns true when the service call (or every call of a transfer) returned SOAP
// status 0; otherwise the fault has been printed to standard error. Nothing throws.
// The context keeps its connection open across the calls of one client (one transfer sends
// all of its blocks over one connection when the server allows it); the destructor closes it.
class TavolenSoapClient {
public:
    // Block size of both transfers.
    static constexpr int BLOCK_SIZE = 819200;
    // Largest reply accepted; a longer one fails the call.
    static constexpr unsigned long MAX_REPLY_BYTES = 256ul << 20;
    // An empty string that nothing in the library reads.
    static std::string IGNORE;

    // Copies endpoint (a null pointer is taken as ""); send and receive time-outs of 30 s, and
    // 30 s for each request as a whole. An https endpoint's certificate and host name are
    // verified against caFile (a PEM bundle), or the system's store when it is null or empty;
    // when that cannot be set up, the calls fail.
    explicit TavolenSoapClient(const char* endpoint, const char* caFile = nullptr);
    ~TavolenSoapClient();
    TavolenSoapClient(const TavolenSoapClient&) = delete;
    TavolenSoapClient& operator=(const TavolenSoapClient&) = delete;

    // Uploads dir + "/" + file in a registration session (begin, one block per 819200 bytes,
    // end) with replace on. A missing file prints "file doesn't exit" on standard output and
    // makes no call. A failed block leaves the session open on the server.
    bool putData(const char* user, const char* password, const char* dir, const char* file, const char* diag,
                 int shot, int subshot, const char* summary);

    // Asks for the server path of the data set, stores its base name in `file` and downloads
    // it into (dir or ".") + "/" + localName, or, when localName is null, into the base name
    // in the current directory (dir unused).
    bool getData(const char* diag, int shot, int subshot, std::string& file, const char* dir,
                 const char* localName);

    // Downloads the server file serverPath block by block into localPath, which is opened
    // O_WRONLY|O_CREAT (0644) without truncation: an older longer file keeps its tail.
    // A failed transfer leaves what was written so far.
    bool saveFile(const char* localPath, const char* serverPath);

    bool delData(const char* user, const char* password, const char* diag, int shot, int subshot);

    // Lists the records of the named data sets ("ns:listTavolenInfo").
    bool getTavolenInfo(std::vector<std::string> diags, int lower, int higher, int subshot, const char* user,
                        int limit, ns__TavolenInfoArray& result);
    bool getNumEntry(const char* diag, int shot, int range, ns__NumEntryArray& result);
    bool getDiagEntry(ns__DiagEntryArray& result);
    bool getDiagnostics(ns__StringArray& result);
    bool getExplogColNames(ns__StringArray& result);
    bool getExplogColVals(int shotNo, ns__StringArray& result);
    bool getExplogColVal(int shotNo, const char* name, char*& value);
    bool changePassword(const char* user, const char* oldpass, const char* newpass);

private:
    char* endpoint;
    struct soap soap;
};

#endif
