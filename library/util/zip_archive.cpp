// qx::minizip and qx::unzip: single-entry zip archives written and read through minizip.
#include "anadata_util.h"

#include <cstdio>
#include <cstring>
#include <iostream>

#include <sys/stat.h>

#include "zip_support.h"

namespace qx {

namespace {

// Blocks between a file and an archive pass through a buffer of this size on the caller's stack,
// so that downloads unpacking on several threads never share one.
constexpr std::size_t bufferSize = 8192;

// True when both paths name one existing file: writing one would destroy the other.
bool sameFile(const std::string& a, const std::string& b) {
    struct stat first, second;
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// Reads the deflated data of the current entry into `out` and returns the status.
// minizip never hands out more than the entry's declared size; data that ends early is
// reported here, a CRC mismatch by unzCloseCurrentFile afterwards.
int copyEntryData(unzFile archive, std::FILE* out, uLong declaredSize, int status) {
    uLong total = 0;
    char buf[bufferSize];
    for (;;) {
        int got = unzReadCurrentFile(archive, buf, sizeof buf);
        if (got < 0) {
            std::printf("error %d with zipfile in unzReadCurrentFile\n", got);
            return status != zipstatus::ok ? status : got;
        }
        if (got == 0) break;
        total += static_cast<uLong>(got);
        if (std::fwrite(buf, static_cast<size_t>(got), 1, out) != 1) {
            std::printf("error in writing extracted file\n");
            return zipstatus::fileError;
        }
    }
    if (status == zipstatus::ok && total != declaredSize) {
        status = zipstatus::badArchive;
        std::printf("error %d with zipfile in unzReadCurrentFile\n", status);
    }
    return status;
}

int extractCurrentEntry(unzFile archive, const std::string& zipPath, const std::string& outPath, bool& created) {
    char storedName[256];
    unz_file_info info;
    int status = unzGetCurrentFileInfo(archive, &info, storedName, sizeof storedName, nullptr,
                                       0, nullptr, 0);
    if (status != UNZ_OK) {
        std::printf("error %d with zipfile in unzGetCurrentFileInfo\n", status);
        return status;
    }
    // The stored name is never used: the caller alone decides where the data goes.

    status = unzOpenCurrentFile(archive);
    if (status != UNZ_OK) std::printf("error %d with zipfile in unzOpenCurrentFile\n", status);

    // An output that is the archive itself is treated as one that cannot be created.
    std::FILE* out = sameFile(zipPath, outPath) ? nullptr : std::fopen(outPath.c_str(), "wb");
    created = out != nullptr;
    if (out != nullptr) {
        status = copyEntryData(archive, out, info.uncompressed_size, status);
        if (std::fclose(out) != 0 && status == zipstatus::ok) {
            std::printf("error in writing extracted file\n");
            status = zipstatus::fileError;
        }
    }

    if (status == zipstatus::ok) {
        status = unzCloseCurrentFile(archive);
        if (status != UNZ_OK)
            std::printf("error %d with zipfile in unzCloseCurrentFile\n", status);
        else
            unzCloseCurrentFile(archive);  // already closed: a harmless no-op, kept as it was
    }
    return status;
}

}  // namespace

int filetime(const char*, tm_zip*, unsigned long*) {
    return 0;
}

int minizip(std::string zipPath, std::string filePath) {
    int status = zipstatus::ok;
    // Creating the archive over the file to pack would truncate that file before it is read;
    // that case fails like an archive that cannot be created.
    zipFile archive =
        sameFile(zipPath, filePath) ? nullptr : zipOpen(zipPath.c_str(), APPEND_STATUS_CREATE);
    if (archive == nullptr) {
        std::cerr << "error opening zip file=" << zipPath << std::endl;
        std::cerr << "error opening file    =" << filePath << std::endl;
        status = zipstatus::fileError;
    }

    zip_fileinfo entry;
    std::memset(&entry, 0, sizeof entry);
    filetime(filePath.c_str(), &entry.tmz_date, &entry.dosDate);

    std::string entryName = getFileName(filePath.c_str());
    int opened = zipOpenNewFileInZip(archive, entryName.c_str(), &entry, nullptr, 0, nullptr, 0,
                                     nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION);
    std::FILE* in = nullptr;
    if (opened != ZIP_OK) {
        std::cerr << "error in opening " << filePath << " in zipfile" << std::endl;
        status = opened;
    } else {
        in = std::fopen(filePath.c_str(), "rb");
        if (in == nullptr) {
            status = zipstatus::fileError;
            std::cerr << "error in opening " << filePath << " for reading" << std::endl;
        }
    }

    if (status == zipstatus::ok && in != nullptr) {
        char buf[bufferSize];
        for (;;) {
            status = zipstatus::ok;
            size_t got = std::fread(buf, 1, sizeof buf, in);
            if (got < sizeof buf && !std::feof(in)) {
                std::cerr << "error in reading " << filePath << std::endl;
                status = zipstatus::fileError;
            }
            if (got > 0 && zipWriteInFileInZip(archive, buf, static_cast<unsigned>(got)) < 0) {
                std::cerr << "error in writing " << filePath << " in the zipfile" << std::endl;
                status = zipstatus::fileError;
            }
            if (status != zipstatus::ok || got == 0) break;
        }
    }
    if (in != nullptr) std::fclose(in);

    if (status >= 0) {
        if (zipCloseFileInZip(archive) != ZIP_OK)
            std::cerr << "error in closing " << filePath << " in the zipfile\n" << std::endl;
    } else {
        status = zipstatus::packingFailure(status);
    }

    // Only the closing status is returned; a failure of an earlier step has been printed
    // and, if it spoiled the archive, closing fails as well.
    status = zipClose(archive, nullptr);
    if (status != ZIP_OK) std::cerr << "error in closing " << zipPath << zipPath << std::endl;
    return status;
}

int unzipReporting(const std::string& zipPath, const std::string& outPath, bool& created) {
    created = false;
    unzFile archive = unzOpen(zipPath.c_str());
    int status = extractCurrentEntry(archive, zipPath, outPath, created);
    if (archive != nullptr) unzClose(archive);
    return status;
}

int unzip(std::string zipPath, std::string outPath) {
    bool created;
    return unzipReporting(zipPath, outPath, created);
}

}  // namespace qx
