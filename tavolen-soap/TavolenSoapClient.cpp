// The SOAP client wrapper: context set-up, one method per service call, and the block transfers.
#include "TavolenSoapClient.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "DataBlockReply.h"
#include "FileDate.h"
#include "HttpsClient.h"
#include "MessageLimits.h"

std::string TavolenSoapClient::IGNORE;

namespace {

const char* const DIRECTORY_SEPARATOR = "/";

// The one translation of a gSOAP status into our result: 0 is success, anything else is a
// failure whose fault (transport error, HTTP error or SOAP fault) goes to standard error.
bool succeeded(struct soap* soap, int status) {
    const std::string refusal = takeCertificateRefusal();
    if (status == SOAP_OK) return true;
    soap_print_fault(soap, stderr);
    // OpenSSL's own report of a refused certificate says only SSL_ERROR_SSL.
    if (status == SOAP_SSL_ERROR && !refusal.empty()) std::fprintf(stderr, "%s\n", refusal.c_str());
    return false;
}

// The stubs take char* for parameters they only read.
char* text(const char* s) {
    return const_cast<char*>(s);
}

// Reads until end of file or error; every read lands at the start of buf, which fills a block
// correctly on regular files, where only the last read of a file comes back short.
int readData(int fd, unsigned char* buf, int len) {
    int total = 0;
    for (;;) {
        ssize_t n = read(fd, buf, static_cast<size_t>(len));
        if (n < 1) break;
        total += static_cast<int>(n);
        len -= static_cast<int>(n);
        if (len <= 0) break;
    }
    return total;
}

}  // namespace

TavolenSoapClient::TavolenSoapClient(const char* url, const char* caFile)
    : endpoint(strdup(url != nullptr ? url : "")),
      // Requests are written as plain trees: a string passed twice (the account as "user" and
      // as the record's "userid") must not become an href to a shared, typed element.
      soap(SOAP_IO_KEEPALIVE, SOAP_IO_KEEPALIVE | SOAP_XML_TREE) {
    soap.send_timeout = 30;
    soap.recv_timeout = 30;
    // The 30 seconds bound each request as a whole too: a reply that trickles in a byte at a
    // time fails the call instead of holding it for ever.
    soap.transfer_timeout = 30;
    // A server that hangs up mid-request must give a failed call, not a SIGPIPE.
    soap.socket_flags = MSG_NOSIGNAL;
    // A reply is at most one block (about 1.1 MB as base64) or one result list; a service
    // that sends or announces more than this is not believed, rather than buffered without bound.
    limitIncomingMessages(&soap, MAX_REPLY_BYTES);
    // A failed set-up leaves its fault in the context; the first call then reports it.
    if (isHttpsEndpoint(endpoint)) setUpHttps(&soap, endpoint, caFile);
}

TavolenSoapClient::~TavolenSoapClient() {
    std::free(endpoint);
    soap_destroy(&soap);
    soap_end(&soap);
    soap_done(&soap);
}

bool TavolenSoapClient::putData(const char* user, const char* password, const char* dir, const char* file,
                                const char* diag, int shot, int subshot, const char* summary) {
    std::string path = std::string(dir != nullptr ? dir : "") + DIRECTORY_SEPARATOR + (file != nullptr ? file : "");
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        std::cout << "file doesn't exit" << std::endl;
        return false;
    }
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;

    std::string date = catalogueDate(info.st_mtime);
    ns__TavolenInfo record;
    record.diagnostics = text(diag);
    record.filename = text(file);
    record.filedate = text(date.c_str());
    record.userid = text(user);
    record.summary = text(summary);
    record.shotno = shot;
    record.subshotno = subshot;
    record.filelen = static_cast<int>(info.st_size);

    char* session = nullptr;
    if (!succeeded(&soap, soap_call_ns__beginTavolenDataRegistration(&soap, endpoint, nullptr, text(user),
                                                                     text(password), true, record, session))) {
        close(fd);
        return false;
    }

    // One buffer for every block of the file.
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[BLOCK_SIZE]);
    for (;;) {
        int got = readData(fd, buffer.get(), BLOCK_SIZE);
        if (got <= 0) break;
        ns__Binary block;
        block.__ptr = buffer.get();
        block.__size = got;
        int ret = 0;  // the service's count is not ours to judge; the status decides
        if (!succeeded(&soap, soap_call_ns__putData(&soap, endpoint, nullptr, session, block, ret))) {
            close(fd);
            return false;
        }
    }
    close(fd);
    int ret = 0;
    return succeeded(&soap, soap_call_ns__endTavolenDataRegistration(&soap, endpoint, nullptr, session, ret));
}

bool TavolenSoapClient::getData(const char* diag, int shot, int subshot, std::string& file, const char* dir,
                                const char* localName) {
    char* path = nullptr;
    if (!succeeded(&soap, soap_call_ns__getTavolenDataPath(&soap, endpoint, nullptr, text(diag), shot, subshot, path)))
        return false;
    std::string serverPath = path != nullptr ? path : "";
    std::string::size_type slash = serverPath.rfind('/');
    file = slash == std::string::npos ? serverPath : serverPath.substr(slash + 1);

    std::string target;
    if (localName != nullptr)
        target = std::string(dir != nullptr ? dir : ".") + "/" + localName;
    else
        target = file;
    return saveFile(target.c_str(), serverPath.c_str());
}

bool TavolenSoapClient::saveFile(const char* localPath, const char* serverPath) {
    int fd = open(localPath, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    int position = 0;
    std::vector<unsigned char> block;  // one buffer for every block, outside the context's memory
    for (;;) {
        int status = soap_send_ns__getData(&soap, endpoint, nullptr, text(serverPath), position, BLOCK_SIZE);
        if (status == SOAP_OK) status = receiveDataBlock(&soap, block);
        if (!succeeded(&soap, status)) {
            close(fd);
            return false;
        }
        if (block.empty()) {
            close(fd);
            return true;
        }
        ssize_t written = write(fd, block.data(), block.size());
        (void)written;
        position += static_cast<int>(block.size());
    }
}

bool TavolenSoapClient::delData(const char* user, const char* password, const char* diag, int shot, int subshot) {
    int ret = 0;
    return succeeded(&soap, soap_call_ns__delTavolenData(&soap, endpoint, nullptr, text(user), text(password),
                                                         text(diag), shot, subshot, ret));
}

bool TavolenSoapClient::getTavolenInfo(std::vector<std::string> diags, int lower, int higher, int subshot,
                                       const char* user, int limit, ns__TavolenInfoArray& result) {
    ns__StringArray names;
    names.__size = static_cast<int>(diags.size());
    if (!diags.empty()) {
        names.__ptr = static_cast<char**>(soap_malloc(&soap, sizeof(char*) * diags.size()));
        if (names.__ptr == nullptr) return succeeded(&soap, soap.error);
        for (size_t i = 0; i < diags.size(); ++i) names.__ptr[i] = soap_strdup(&soap, diags[i].c_str());
    }
    return succeeded(&soap, soap_call_ns__listTavolenInfo(&soap, endpoint, nullptr, names, lower, higher, subshot,
                                                          text(user), limit, result));
}

bool TavolenSoapClient::getNumEntry(const char* diag, int shot, int range, ns__NumEntryArray& result) {
    return succeeded(&soap, soap_call_ns__getNumEntry(&soap, endpoint, nullptr, text(diag), shot, range, result));
}

bool TavolenSoapClient::getDiagEntry(ns__DiagEntryArray& result) {
    return succeeded(&soap, soap_call_ns__getDiagEntry(&soap, endpoint, nullptr, result));
}

bool TavolenSoapClient::getDiagnostics(ns__StringArray& result) {
    return succeeded(&soap, soap_call_ns__getDiagnostics(&soap, endpoint, nullptr, result));
}

bool TavolenSoapClient::getExplogColNames(ns__StringArray& result) {
    return succeeded(&soap, soap_call_ns__getExplogColumnNames(&soap, endpoint, nullptr, result));
}

bool TavolenSoapClient::getExplogColVals(int shotNo, ns__StringArray& result) {
    return succeeded(&soap, soap_call_ns__getExplogColumnValues(&soap, endpoint, nullptr, shotNo, result));
}

bool TavolenSoapClient::getExplogColVal(int shotNo, const char* name, char*& value) {
    return succeeded(&soap, soap_call_ns__getExplogColumnValue(&soap, endpoint, nullptr, shotNo, text(name), value));
}

bool TavolenSoapClient::changePassword(const char* user, const char* oldpass, const char* newpass) {
    int ret = 0;
    return succeeded(&soap, soap_call_ns__changePassword(&soap, endpoint, nullptr, text(user), text(oldpass),
                                                         text(newpass), ret));
}
