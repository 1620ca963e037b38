// The record's operations on the analysed-data service: retrieve, regist, erase, search and getFile.
#include "anadata.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include <unistd.h>

#include "anadata_util.h"
#include "clsAnaDataAccess.h"
#include "data_download.h"
#include "explog.h"

namespace qx {

namespace {

// Removes a file when the scope ends, however it ends.
class FileRemover {
public:
    explicit FileRemover(std::string path) : path(std::move(path)) {}
    ~FileRemover() { std::remove(path.c_str()); }
    FileRemover(const FileRemover&) = delete;
    FileRemover& operator=(const FileRemover&) = delete;

private:
    std::string path;
};

const char* orEmpty(const char* s) { return s != nullptr ? s : ""; }

}  // namespace

AnaData AnaData::retrieve(const char* diag, int shot, int subshot, bool keepArchive) {
    AnaData rec;
    // The name is reserved by creating the file, so no other process can take it meanwhile;
    // the download then lands on it.
    char reserved[] = "/tmp/tempXXXXXX";
    int fd = mkstemp(reserved);
    if (fd < 0) throw AnaDataException("Not found.");
    close(fd);
    FileRemover removeReserved(reserved);

    std::string name = getFileName(reserved);
    clsAnaDataAccess access;  // loads the settings on first use
    bool written = false;
    if (!downloadDataSet(diag, shot, subshot, name, "/tmp", keepArchive, written)) throw AnaDataException("Not found.");

    // An archive that did not unpack creates no file, which gives the default record; the
    // reserved name exists all the same, so only `written` tells the two apart. A registered
    // file that is empty unpacks into an empty file, which the reader refuses.
    if (!written) return rec;
    std::ifstream in(name, std::ios::binary);
    if (in.is_open()) in >> rec;
    return rec;
}

void AnaData::regist(const char* diag, int shot, int subshot, const char* path, const char* user,
                     const char* pass) {
    std::string summary;
    std::string date;
    std::string time;
    try {
        getSummary(orEmpty(path), summary, date, time);
    } catch (int) {
        throw AnaDataException("Data File Error");
    }

    clsAnaDataAccess access;
    clsAnaDataAccess::userset(user);
    clsAnaDataAccess::passset(pass);
    std::string dir = getDirName(orEmpty(path));
    std::string file = getFileName(orEmpty(path));
    std::string dateTime = date + " " + time;
    if (!access.Regist(dir.c_str(), file.c_str(), diag, shot, subshot, dateTime.c_str(), summary.c_str()))
        throw AnaDataException("Registration Failed\n");
}

bool AnaData::regist() {
    const std::string dir = "/tmp/";
    std::string file = diagnostics + "@" + std::to_string(shotNo);
    if (subNo != 0) file += "-" + std::to_string(subNo);
    file += ".dat";
    const std::string path = dir + file;

    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out.is_open()) {
        std::cout << "false" << std::endl;
        return false;
    }
    FileRemover removeFile(path);
    std::cout << "ok" << std::endl;

    // Only a completely written and closed file is packed and uploaded.
    try {
        out << *this;
    } catch (const AnaDataException&) {
        return false;
    }
    out.close();
    if (out.fail()) return false;

    return clsAnaDataAccess().Regist(dir.c_str(), file.c_str(), diagnostics.c_str(), shotNo, subNo, date.c_str(),
                                     comment.c_str());
}

void AnaData::erase(const char* diag, int shot, int subshot, const char* user, const char* pass) {
    clsAnaDataAccess access;
    clsAnaDataAccess::userset(user);
    clsAnaDataAccess::passset(pass);
    if (!access.Delete(diag, shot, subshot)) throw AnaDataException("Not found.");
}

void AnaData::search(std::vector<std::string> diags, int lower, int higher, int subshot, const char* userFilter,
                     int limit, std::vector<TavolenInfo>& out) {
    if (!clsAnaDataAccess().Search(std::move(diags), lower, higher, subshot, userFilter, limit, out))
        throw AnaDataException("Not found.");
}

void AnaData::getFile(const char* diag, int shot, int subshot, const char* path, bool keepArchive) {
    clsAnaDataAccess access;
    std::string name;
    if (path == nullptr) {
        if (!access.Get(diag, shot, subshot, name, nullptr, keepArchive)) throw AnaDataException("Not found.");
        return;
    }
    // The directory that will hold path, by its text alone: path usually names a file that
    // does not exist yet, which getDirName would take for a directory.
    std::string target = path;
    std::string::size_type slash = target.rfind('/');
    std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : target.substr(0, slash);
    if (!access.Get(diag, shot, subshot, name, dir.c_str(), keepArchive)) throw AnaDataException("Not found.");
    if (!MoveFile(name.c_str(), path)) throw AnaDataException("File Cannot Movie.");
}

}  // namespace qx
