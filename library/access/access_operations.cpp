// The service operations of clsAnaDataAccess: download, registration, deletion, searches and the experiment log.
#include "clsAnaDataAccess.h"

#include <cerrno>
#include <iostream>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TavolenSoapClient.h"
#include "access_settings.h"
#include "anadata_util.h"
#include "data_download.h"
#include "../util/zip_support.h"

namespace qx {

namespace {

std::string copyText(const char* s) {
    return s != nullptr ? s : "";
}

// Creates dir + "/tempXXXXXX" with the six X replaced, exclusively, so that two downloads into
// one directory never share an archive. False when no such file can be created.
bool createTemporary(const std::string& dir, std::string& path) {
    static const char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device seed;
    std::minstd_rand pick(seed());
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string candidate = dir + "/temp";
        for (int i = 0; i < 6; ++i) candidate += letters[pick() % (sizeof letters - 1)];
        int fd = open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd >= 0) {
            close(fd);
            path = candidate;
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

bool isRegularFile(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// A client on the endpoint of the settings as they are now.
TavolenSoapClient connect(const anadata::detail::AccessSettings& settings) {
    return TavolenSoapClient(settings.endpoint.c_str(), settings.caFile.c_str());
}

// Results are appended; the rows are moved, not copied.
template <typename Row>
void append(std::vector<Row>& rows, std::vector<Row>& out) {
    out.insert(out.end(), std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
}

}  // namespace

bool downloadDataSet(const char* diag, int shot, int subshot, std::string& file, const char* dir, bool keepArchive,
                     bool& written) {
    written = false;
    bool renameTo = !file.empty();
    std::string directory = dir != nullptr && *dir != '\0' ? dir : ".";
    std::string tempPath;
    if (!createTemporary(directory, tempPath)) return false;
    std::string tmpName = getFileName(tempPath.c_str());
    std::string dirSlash = directory.back() == '/' ? directory : directory + "/";

    std::string serverName;
    const bool fetched = connect(anadata::detail::accessSettings())
                             .getData(diag, shot, subshot, serverName, directory.c_str(), tmpName.c_str());
    if (!fetched) {
        // The archive may be partial; nothing else has been written.
        unlink(tempPath.c_str());
        return false;
    }

    if (renameTo)
        file = dirSlash + file;
    else
        file = dirSlash + serverName.substr(0, serverName.size() >= 4 ? serverName.size() - 4 : 0);

    if (!keepArchive)
        unzipReporting(tempPath, file, written);
    else if (renameTo)
        written = MoveFile(tempPath.c_str(), file.c_str());
    else
        written = MoveFile(tempPath.c_str(), serverName.c_str());  // the current directory, not dir
    unlink(tempPath.c_str());
    return true;
}

bool clsAnaDataAccess::Get(const char* diag, int shot, int subshot, std::string& file, const char* dir,
                           bool keepArchive) {
    bool written;
    return downloadDataSet(diag, shot, subshot, file, dir, keepArchive, written);
}

bool clsAnaDataAccess::Regist(const char* dir, const char* file, const char* diag, int shot, int subshot,
                              const char* /*reserved*/, const char* summary) {
    if (subshot == 0) subshot = 1;
    std::string dirSlash = copyText(dir);
    if (!dirSlash.empty() && dirSlash.back() != '/') dirSlash += '/';
    std::string zipName = copyText(file) + ".zip";
    std::string zipPath = std::string("/tmp") + "/" + zipName;

    const std::string source = dirSlash + copyText(file);
    bool existedBefore = isRegularFile(zipPath);
    // minizip reports success for a source it cannot read, with an empty entry in the archive;
    // uploading that would replace a registered data set with nothing, so it counts as failed.
    const bool sourceReadable = ::access(source.c_str(), R_OK) == 0 && isRegularFile(source);
    int packed = minizip(zipPath, source);
    std::cerr << "summary=" << copyText(summary) << std::endl;

    // A failed packing counts as success without an upload; callers rely on that.
    bool result = true;
    if (packed != 0 || !sourceReadable) {
        // Only an archive this call left behind is removed, never a file that was there before.
        if (!existedBefore && isRegularFile(zipPath)) unlink(zipPath.c_str());
        return result;
    }
    const auto settings = anadata::detail::accessSettings();
    result = connect(settings).putData(settings.account.c_str(), settings.password.c_str(), "/tmp", zipName.c_str(),
                                       diag, shot, subshot, summary);
    unlink(zipPath.c_str());
    return result;
}

bool clsAnaDataAccess::Delete(const char* diag, int shot, int subshot) {
    const auto settings = anadata::detail::accessSettings();
    return connect(settings).delData(settings.account.c_str(), settings.password.c_str(), diag, shot, subshot);
}

bool clsAnaDataAccess::Search(std::vector<std::string> diags, int lower, int higher, int subshot,
                              const char* userFilter, int limit, std::vector<TavolenInfo>& out) {
    std::vector<TavolenInfo> rows;
    TavolenSoapClient client = connect(anadata::detail::accessSettings());
    if (!client.getTavolenInfo(diags, lower, higher, subshot, userFilter, limit, rows)) return false;
    append(rows, out);
    return true;
}

bool clsAnaDataAccess::getDiagnostics(std::vector<std::string>& out) {
    std::vector<std::string> names;
    if (!connect(anadata::detail::accessSettings()).getDiagnostics(names)) return false;
    append(names, out);
    return true;
}

bool clsAnaDataAccess::getNumEntry(const char* diag, int shot, int range, std::vector<NumEntry>& out) {
    std::vector<NumEntry> rows;
    if (!connect(anadata::detail::accessSettings()).getNumEntry(diag, shot, range, rows)) return false;
    append(rows, out);
    return true;
}

bool clsAnaDataAccess::getDiagEntry(std::vector<DiagEntry>& out) {
    std::vector<DiagEntry> rows;
    if (!connect(anadata::detail::accessSettings()).getDiagEntry(rows)) return false;
    append(rows, out);
    return true;
}

std::vector<std::string> clsAnaDataAccess::getExplogColNames() {
    std::vector<std::string> names;
    if (!connect(anadata::detail::accessSettings()).getExplogColNames(names)) throw clsException("ERROR");
    return names;
}

std::vector<std::string> clsAnaDataAccess::getExplogColValues(int shot) {
    std::vector<std::string> values;
    if (!connect(anadata::detail::accessSettings()).getExplogColVals(shot, values)) throw clsException("ERROR");
    return values;
}

std::string clsAnaDataAccess::getExplogColValue(int shot, const char* column) {
    std::string value;
    if (!connect(anadata::detail::accessSettings()).getExplogColVal(shot, column, value)) throw clsException("ERROR");
    return value;
}

void clsAnaDataAccess::changePassword(const char* user, const char* oldpass, const char* newpass) {
    if (!connect(anadata::detail::accessSettings()).changePassword(user, oldpass, newpass)) throw clsException("ERROR");
}

}  // namespace qx
