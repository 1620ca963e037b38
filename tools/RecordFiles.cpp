// Loading and saving records in either file format, interruptible.
#include "RecordFiles.h"

#include <filesystem>

#include "Interrupts.h"
#include "ToolError.h"

namespace tool {

namespace {

// The library refuses an existing target too (also one that appears meanwhile); asking first
// lets the message name the option that replaces it.
anadata::WriteOptions writeOptions(const std::string& path, bool replace) {
    std::error_code ignored;
    if (!replace && std::filesystem::exists(std::filesystem::symlink_status(path, ignored)))
        throw ToolError(exitFile, path + ": exists (give --force to replace it)");
    anadata::WriteOptions options;
    options.overwrite = replace;
    options.progress = [](std::uint64_t, std::uint64_t) { return !interrupted(); };
    return options;
}

}  // namespace

LoadedRecord loadRecord(const std::string& path, bool lenient) {
    LoadedRecord loaded;
    loaded.format = anadata::recordFileFormat(path);
    anadata::ReadOptions options;
    options.lenient = lenient;
    loaded.record = anadata::readRecord(path, options);
    return loaded;
}

void writeAtomically(const std::string& path, bool replace, const std::function<void(std::ostream&)>& write) {
    const anadata::WriteOptions options = writeOptions(path, replace);
    const CancelOnInterrupt cancel;
    anadata::writeFile(path, write, options);
}

void saveRecord(const qx::AnaData& record, const std::string& path, anadata::FileFormat format, bool replace,
                int precision) {
    anadata::WriteOptions options = writeOptions(path, replace);
    options.format = format;
    options.precision = precision;
    const CancelOnInterrupt cancel;
    anadata::writeRecord(record, path, options);
}

}  // namespace tool
