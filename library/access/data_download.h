// The download behind clsAnaDataAccess::Get, for the library's own callers that must tell an
// archive that did not unpack from one that unpacked into an empty file.
#ifndef ANADATA_ACCESS_DATA_DOWNLOAD_H
#define ANADATA_ACCESS_DATA_DOWNLOAD_H

#include <string>

namespace qx {

// Does what clsAnaDataAccess::Get does with the configured endpoint. `written` becomes true
// when the result file was written: the archive kept, or its entry extracted. It stays false
// when the archive's first entry could not be read, so no result file was created.
bool downloadDataSet(const char* diag, int shot, int subshot, std::string& file, const char* dir, bool keepArchive,
                     bool& written);

}  // namespace qx

#endif
