// Loading and saving records in either file format.
#include "RecordFiles.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <streambuf>

#include <sys/stat.h>
#include <unistd.h>

#include "Interrupts.h"
#include "ToolError.h"

namespace tool {

namespace {

// Swallows everything; used to let the text writer run its completeness checks.
class DiscardBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

}  // namespace

// A dump may declare value columns shorter than the grid, and the record offers no reader
// for a column's length; the text writer refuses such a record before writing anything, so
// it serves as the check.
void checkComplete(const qx::AnaData& record, const std::string& what) {
    if (record.getValNo() == 0) return;
    DiscardBuffer sink;
    std::ostream out(&sink);
    try {
        out << record;
    } catch (const qx::clsException& e) {
        throw ToolError(exitFile, what + ": " + e.getMessage());
    }
}

std::string systemError(const std::string& verb, const std::string& path) {
    return "cannot " + verb + " " + path + ": " + std::strerror(errno);
}

bool pathExists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

LoadedRecord loadRecord(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) throw ToolError(exitFile, systemError("open", path));
    if (S_ISDIR(info.st_mode)) throw ToolError(exitFile, path + ": is a directory");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw ToolError(exitFile, systemError("open", path));
    LoadedRecord loaded;
    try {
        switch (qx::AnaData::checkHeader(in)) {
        case 0:
            loaded.format = FileFormat::text;
            in >> loaded.record;
            // A header that ends before its data marker leaves the record untouched.
            if (loaded.record.getValNo() == 0)
                throw ToolError(exitFile, path + ": no data block in the text file");
            break;
        case 1:
            loaded.format = FileFormat::dump;
            loaded.record = qx::AnaData::restore(in);
            if (in.fail()) throw ToolError(exitFile, path + ": truncated or corrupt dump");
            break;
        default:
            throw ToolError(exitFile, path + ": not an analysed-data file (neither text nor dump)");
        }
        checkComplete(loaded.record, path);
    } catch (const qx::clsException& e) {
        throw ToolError(exitFile, path + ": " + e.getMessage());
    } catch (const std::bad_alloc&) {
        throw ToolError(exitFile, path + ": too large to load");
    }
    return loaded;
}

void writeAtomically(const std::string& path, bool replace, const std::function<void(std::ostream&)>& write) {
    if (!replace && pathExists(path))
        throw ToolError(exitFile, path + ": exists (give --force to replace it)");
    std::string temp = path + ".XXXXXX";
    std::unique_ptr<UndoOnInterrupt> undo;
    {
        const InterruptsHeld held;
        const int fd = mkstemp(temp.data());
        if (fd < 0) throw ToolError(exitFile, systemError("create a file next to", path));
        close(fd);
        undo = std::make_unique<UndoOnInterrupt>([temp] { unlink(temp.c_str()); });
    }
    try {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        write(out);
        out.close();
        if (!out) throw ToolError(exitFile, systemError("write", temp));
        // mkstemp makes the file private; a data file gets the usual permissions.
        const mode_t mask = umask(0);
        umask(mask);
        chmod(temp.c_str(), 0666 & ~mask);
        if (replace) {
            if (std::rename(temp.c_str(), path.c_str()) != 0) throw ToolError(exitFile, systemError("write", path));
        } else {
            // link() refuses an existing name, so a file that appeared meanwhile is kept too.
            if (link(temp.c_str(), path.c_str()) != 0) {
                if (errno == EEXIST) throw ToolError(exitFile, path + ": exists (give --force to replace it)");
                throw ToolError(exitFile, systemError("write", path));
            }
            unlink(temp.c_str());
        }
    } catch (...) {
        unlink(temp.c_str());
        throw;
    }
}

void saveRecord(const qx::AnaData& record, const std::string& path, FileFormat format, bool replace,
                int precision) {
    try {
        writeAtomically(path, replace, [&](std::ostream& out) {
            if (format == FileFormat::text) {
                out.precision(precision);
                out << record;
            } else {
                record.dump(out);
            }
        });
    } catch (const qx::clsException& e) {
        throw ToolError(exitFile, path + ": " + e.getMessage());
    }
}

}  // namespace tool
