// qx::clsAnaDataAccess, the library's access to the analysed-data service, and its settings.
#ifndef ANADATA_CLSANADATAACCESS_H
#define ANADATA_CLSANADATAACCESS_H

#include <string>

#include "anadata_export.h"
#include "clsException.h"

namespace qx {

// Name of the settings file looked for in the home directory.
inline constexpr char INITFILE[] = ".client2.ini";
// Registry key path of the settings on other platforms; nothing on this one reads it.
inline constexpr char REGISTORY[] = "Software\\client_ini";

// Access to the analysed-data service. The settings (account, password, endpoint, download
// directory, search paging) are process-wide statics shared by every access object; the
// first construction in the process loads them from the settings file. Not thread-safe.
//
// Settings file: ini-style lines read once. "[tserver]" and "[search]" (exactly, whole
// line) select a section; other bracketed lines leave the section unchanged. A line
// beginning with account, passwd, endpoint or base_dir sets user, pass, endpoint or
// base_dir inside [tserver]; one beginning with limit or page sets limit or page inside
// [search]. Keys match by prefix from the first column; the value is everything after the
// first '=' (the whole line when there is none), blanks kept, one double quote removed at
// each end. A later line for a key replaces an earlier one.
class ANADATA_API clsAnaDataAccess {
public:
    // Section lines and key prefixes of the settings file.
    static constexpr const char* CATTSERVER = "[tserver]";
    static constexpr const char* CATSEARCH = "[search]";
    static constexpr const char* ACCOUNT = "account";
    static constexpr const char* PASSWORD = "passwd";
    static constexpr const char* ENDPOINT = "endpoint";
    static constexpr const char* BASE_DIR = "base_dir";
    static constexpr const char* LIMIT = "limit";
    static constexpr const char* PAGE = "page";

    // The settings; all empty until a settings file is read or userset/passset is called.
    static std::string user;      // account sent with every service call
    static std::string pass;      // password sent with every service call
    static std::string endpoint;  // service address
    static std::string base_dir;  // local directory for downloaded files (see getBaseDir)
    static std::string limit;     // default maximum number of search results, as text
    static std::string page;      // default result page of a search, as text
    // True once a settings file has been read (or the path constructor has run).
    static bool isInitialized;

    // While isInitialized is false, looks for the settings file and loads the first one
    // that opens: the path in $CLIENT_INI2, then $HOME/.client2.ini, then /etc/client2.ini;
    // sets isInitialized on success. When none opens it writes "ini file Not found." and a
    // newline to standard error and returns normally with the settings left as they were;
    // the next default construction searches again.
    clsAnaDataAccess();

    // While isInitialized is false, loads the settings from iniFile (no message if it cannot
    // be opened) and sets isInitialized in every case, so no later search happens.
    explicit clsAnaDataAccess(const char* iniFile);

    // Reads the settings file at `path` into the statics. Returns false only when the file
    // cannot be opened for reading or is not a regular file (a directory,
    // a device); true otherwise, also when
    // no line is recognised. Does not change isInitialized.
    static bool iniload(const char* path);

    // Stores the value part of the settings line `line` into `member` (rules above).
    static void paramset(std::string& member, const std::string& line);

    // Replace the account or password for the whole process; a null pointer clears it.
    static void userset(const char* value);
    static void passset(const char* value);

    // Copies of page, limit and base_dir.
    static std::string getPage();
    static std::string getLimit();
    static std::string getBaseDir();

    // The service operations are declared here as they are added.
};

}  // namespace qx

// The constants are also reachable without the namespace, as older callers spell them.
using qx::INITFILE;
using qx::REGISTORY;

#endif
