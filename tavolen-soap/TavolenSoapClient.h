// TavolenSoapClient: the access object's view of the service, with a method per call and the chunked transfers.
#ifndef ANADATA_TAVOLENSOAPCLIENT_H
#define ANADATA_TAVOLENSOAPCLIENT_H

#include <string>
#include <vector>

#include "Connection.h"
#include "ServiceCalls.h"
#include "TavolenInfo.h"
#include "soapH.h"  // the generated stubs and types, which users of the wrapper reach as well

// Internal to the library: the access object builds one client per operation and destroys it
// after. The calls themselves are the request layer's (ServiceCalls); this class gives them the
// access object's face.
//
// Every method returns true when the service call (or every call of a transfer) returned SOAP
// status 0; otherwise the fault has been printed to standard error (with the reason of a refused
// certificate on a line of its own). Nothing throws but std::bad_alloc. Results are copies, valid
// after the client is gone; result lists are replaced.
// The client keeps its connection open across its calls (one transfer sends all of its blocks over
// one connection when the server allows it); the destructor closes it.
class TavolenSoapClient {
public:
    // An empty string that nothing in the library reads.
    static std::string IGNORE;

    // Copies endpoint (a null pointer is taken as ""); connect, send and receive time-outs of 30 s,
    // and 30 s for each request as a whole. An https endpoint's certificate and host name are
    // verified against caFile (a PEM bundle), or the system's store when it is null or empty;
    // when that cannot be set up, every call fails with the set-up's fault.
    explicit TavolenSoapClient(const char* endpoint, const char* caFile = nullptr);
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

    // Downloads the server file serverPath block by block, until an empty block, into localPath,
    // which is opened O_WRONLY|O_CREAT (0644) without truncation: an older longer file keeps its
    // tail. A failed transfer leaves what was written so far. A file that does not end within the
    // contract's 32-bit offsets (2 GiB) fails the transfer with a line on standard error.
    bool saveFile(const char* localPath, const char* serverPath);

    bool delData(const char* user, const char* password, const char* diag, int shot, int subshot);

    // Lists the records of the named data sets ("ns:listTavolenInfo").
    bool getTavolenInfo(const std::vector<std::string>& diags, int lower, int higher, int subshot, const char* user,
                        int limit, std::vector<qx::TavolenInfo>& result);
    bool getNumEntry(const char* diag, int shot, int range, std::vector<qx::NumEntry>& result);
    bool getDiagEntry(std::vector<qx::DiagEntry>& result);
    bool getDiagnostics(std::vector<std::string>& result);
    bool getExplogColNames(std::vector<std::string>& result);
    bool getExplogColVals(int shotNo, std::vector<std::string>& result);
    bool getExplogColVal(int shotNo, const char* name, std::string& value);
    bool changePassword(const char* user, const char* oldpass, const char* newpass);

private:
    anadata::detail::Connection connection;
    anadata::detail::ServiceCalls calls;
};

#endif
