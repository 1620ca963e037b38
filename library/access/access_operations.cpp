// The service operations of clsAnaDataAccess: download, registration, deletion, searches and the experiment log.
#include "clsAnaDataAccess.h"

#include <cerrno>
#include <iostream>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TavolenSoapClient.h"
#include "settings_file.h"
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

void appendStrings(const ns__StringArray& items, std::vector<std::string>& out) {
    for (int i = 0; i < items.__size && items.__ptr != nullptr; ++i) out.push_back(copyText(items.__ptr[i]));
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
    bool fetched;
    {
        TavolenSoapClient client(clsAnaDataAccess::endpoint.c_str(), anadata::detail::processCaFile().c_str());
        fetched = client.getData(diag, shot, subshot, serverName, directory.c_str(), tmpName.c_str());
    }
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
    {
        TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
        result = client.putData(user.c_str(), pass.c_str(), "/tmp", zipName.c_str(), diag, shot, subshot, summary);
    }
    unlink(zipPath.c_str());
    return result;
}

bool clsAnaDataAccess::Delete(const char* diag, int shot, int subshot) {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    return client.delData(user.c_str(), pass.c_str(), diag, shot, subshot);
}

bool clsAnaDataAccess::Search(std::vector<std::string> diags, int lower, int higher, int subshot,
                              const char* userFilter, int limit, std::vector<TavolenInfo>& out) {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    ns__TavolenInfoArray rows;
    if (!client.getTavolenInfo(std::move(diags), lower, higher, subshot, userFilter, limit, rows)) return false;
    for (int i = 0; i < rows.__size && rows.__ptr != nullptr; ++i) {
        const ns__TavolenInfo& row = rows.__ptr[i];
        TavolenInfo info;
        info.diagnostics = copyText(row.diagnostics);
        info.server = copyText(row.server);
        info.directory = copyText(row.directory);
        info.filename = copyText(row.filename);
        info.filedate = copyText(row.filedate);
        info.userid = copyText(row.userid);
        info.summary = copyText(row.summary);
        info.shotno = row.shotno;
        info.subshotno = row.subshotno;
        info.filelen = row.filelen;
        out.push_back(info);
    }
    return true;
}

bool clsAnaDataAccess::getDiagnostics(std::vector<std::string>& out) {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    ns__StringArray names;
    if (!client.getDiagnostics(names)) return false;
    appendStrings(names, out);
    return true;
}

bool clsAnaDataAccess::getNumEntry(const char* diag, int shot, int range, std::vector<NumEntry>& out) {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    ns__NumEntryArray rows;
    if (!client.getNumEntry(diag, shot, range, rows)) return false;
    for (int i = 0; i < rows.__size && rows.__ptr != nullptr; ++i) {
        NumEntry entry;
        entry.no = rows.__ptr[i].no;
        entry.sum = rows.__ptr[i].sum;
        out.push_back(entry);
    }
    return true;
}

bool clsAnaDataAccess::getDiagEntry(std::vector<DiagEntry>& out) {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    ns__DiagEntryArray rows;
    if (!client.getDiagEntry(rows)) return false;
    for (int i = 0; i < rows.__size && rows.__ptr != nullptr; ++i) {
        DiagEntry entry;
        entry.diagnostics = copyText(rows.__ptr[i].diagnostics);
        entry.sum = rows.__ptr[i].sum;
        out.push_back(entry);
    }
    return true;
}

std::vector<std::string> clsAnaDataAccess::getExplogColNames() {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    ns__StringArray names;
    if (!client.getExplogColNames(names)) throw clsException("ERROR");
    std::vector<std::string> out;
    appendStrings(names, out);
    return out;
}

std::vector<std::string> clsAnaDataAccess::getExplogColValues(int shot) {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    ns__StringArray values;
    if (!client.getExplogColVals(shot, values)) throw clsException("ERROR");
    std::vector<std::string> out;
    appendStrings(values, out);
    return out;
}

std::string clsAnaDataAccess::getExplogColValue(int shot, const char* column) {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    char* value = nullptr;
    if (!client.getExplogColVal(shot, column, value)) throw clsException("ERROR");
    return copyText(value);
}

void clsAnaDataAccess::changePassword(const char* user, const char* oldpass, const char* newpass) {
    TavolenSoapClient client(endpoint.c_str(), anadata::detail::processCaFile().c_str());
    if (!client.changePassword(user, oldpass, newpass)) throw clsException("ERROR");
}

}  // namespace qx
