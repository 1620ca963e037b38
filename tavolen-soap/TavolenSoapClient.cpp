// The SOAP client wrapper: the request layer's calls with their faults printed, and the two file transfers.
#include "TavolenSoapClient.h"

#include <cstdio>
#include <iostream>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "BlockTransfers.h"
#include "FileDate.h"
#include "soapH.h"

std::string TavolenSoapClient::IGNORE;

namespace {

using anadata::detail::CallFailure;
using anadata::detail::ConnectionSettings;

const char* const DIRECTORY_SEPARATOR = "/";

ConnectionSettings faithfulSettings(const char* endpoint, const char* caFile) {
    ConnectionSettings settings;
    settings.endpoint = endpoint != nullptr ? endpoint : "";
    settings.caFile = caFile != nullptr ? caFile : "";
    settings.ioTimeout = std::chrono::seconds(30);
    // The 30 seconds bound each request as a whole too: a reply that trickles in a byte at a
    // time fails the call instead of holding it for ever.
    settings.requestTimeout = std::chrono::seconds(30);
    return settings;
}

// A failed call goes to standard error as the runtime words it; OpenSSL's own report of a refused
// certificate says only SSL_ERROR_SSL, so the refusal follows on its own line.
void printFault(const CallFailure& failure) {
    soap_print_fault(failure.soap, stderr);
    if (failure.code == anadata::ErrorCode::certificate) std::fprintf(stderr, "%s\n", failure.text.c_str());
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
    : connection(faithfulSettings(url, caFile)), calls(connection, printFault) {}

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

    const std::string date = catalogueDate(info.st_mtime);
    anadata::detail::RegistrationInfo record;
    record.name = diag;
    record.fileName = file;
    record.fileDate = date.c_str();
    record.account = user;
    record.summary = summary;
    record.shot = shot;
    record.subshot = subshot;
    record.length = static_cast<int>(info.st_size);

    // One buffer for every block of the file, read in order: without retries (this client has
    // none) every offset asked for is where the last block ended.
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[anadata::detail::blockSize]);
    std::string key;
    const bool sent = anadata::detail::sendRegistration(
        calls, user, password, record,
        [&](std::uint64_t, const unsigned char*& block) {
            block = buffer.get();
            return readData(fd, buffer.get(), anadata::detail::blockSize);
        },
        key);
    close(fd);
    return sent;
}

bool TavolenSoapClient::getData(const char* diag, int shot, int subshot, std::string& file, const char* dir,
                                const char* localName) {
    std::string serverPath;
    if (!calls.dataPath(diag, shot, subshot, serverPath)) return false;
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
    std::uint64_t done = 0;
    const auto end = anadata::detail::downloadBlocks(calls, serverPath, std::nullopt, done,
                                                     [&](const unsigned char* data, std::size_t size) {
                                                         ssize_t written = write(fd, data, size);
                                                         (void)written;
                                                     });
    close(fd);
    if (end == anadata::detail::DownloadEnd::overrun)
        std::fprintf(stderr, "%s: the file does not end within 2 GiB\n", serverPath != nullptr ? serverPath : "");
    return end == anadata::detail::DownloadEnd::emptyBlock;
}

bool TavolenSoapClient::delData(const char* user, const char* password, const char* diag, int shot, int subshot) {
    return calls.deleteEntry(user, password, diag, shot, subshot);
}

bool TavolenSoapClient::getTavolenInfo(const std::vector<std::string>& diags, int lower, int higher, int subshot,
                                       const char* user, int limit, std::vector<qx::TavolenInfo>& result) {
    return calls.listEntries(diags, lower, higher, subshot, user, limit, result);
}

bool TavolenSoapClient::getNumEntry(const char* diag, int shot, int range, std::vector<qx::NumEntry>& result) {
    return calls.shotCounts(diag, shot, range, result);
}

bool TavolenSoapClient::getDiagEntry(std::vector<qx::DiagEntry>& result) {
    return calls.nameCounts(result);
}

bool TavolenSoapClient::getDiagnostics(std::vector<std::string>& result) {
    return calls.names(result);
}

bool TavolenSoapClient::getExplogColNames(std::vector<std::string>& result) {
    return calls.explogColumns(result);
}

bool TavolenSoapClient::getExplogColVals(int shotNo, std::vector<std::string>& result) {
    return calls.explogRow(shotNo, result);
}

bool TavolenSoapClient::getExplogColVal(int shotNo, const char* name, std::string& value) {
    return calls.explogValue(shotNo, name, value);
}

bool TavolenSoapClient::changePassword(const char* user, const char* oldpass, const char* newpass) {
    return calls.changePassword(user, oldpass, newpass);
}
