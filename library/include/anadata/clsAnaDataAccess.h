// qx::clsAnaDataAccess, the library's access to the analysed-data service, and its settings.
#ifndef ANADATA_CLSANADATAACCESS_H
#define ANADATA_CLSANADATAACCESS_H

#include <string>
#include <vector>

#include "TavolenInfo.h"
#include "anadata_export.h"
#include "clsException.h"

namespace qx {

// Name of the settings file looked for in the home directory.
inline constexpr char INITFILE[] = ".client2.ini";
// Registry key path of the settings on other platforms; nothing on this one reads it.
inline constexpr char REGISTORY[] = "Software\\client_ini";

// Access to the analysed-data service. The settings (account, password, endpoint, download
// directory, search paging) are process-wide statics shared by every access object; the
// first construction in the process loads them from the settings file.
//
// Threads: the members below read and change the statics under one lock, so access objects may
// be made and their operations run on several threads at once; an operation uses the settings as
// they were when it began. A program that reads or writes the statics directly must not do so
// while other threads use access objects (or the record's service operations).
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
    // sets isInitialized on success. The search stops at the first place that opens, even
    // when it is no regular file and so yields no settings. When none opens it writes "ini file Not found." and a
    // newline to standard error and returns normally with the settings left as they were;
    // the next default construction searches again.
    clsAnaDataAccess();

    // While isInitialized is false, loads the settings from iniFile (no message if it cannot
    // be opened) and sets isInitialized in every case, so no later search happens.
    explicit clsAnaDataAccess(const char* iniFile);

    // Reads the settings file at `path` into the statics. Returns false only when the file
    // cannot be opened for reading; true otherwise, also when no line is recognised. Something
    // that opens but is not a regular file (a directory, a device, a FIFO) is opened without
    // blocking and never read: true, with nothing read. Does not change isInitialized.
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

    // Service operations. Each one opens its own connection to `endpoint` (an empty endpoint
    // makes the call fail like an unreachable service), uses `user` and `pass` where the
    // service asks for credentials, and closes the connection before returning. A failing
    // call has already printed the service's fault to standard error.
    // Data operations return false on failure; the experiment-log and password operations
    // throw clsException with the message "ERROR".

    // Downloads the data set (diag, shot, subshot) into dir (null: "."). The archive goes
    // to a fresh temporary file "tempXXXXXX" in dir and is removed before returning, on
    // success and failure alike.
    // When `file` is non-empty on entry it names the result: file becomes dir + "/" + file.
    // Otherwise file becomes dir + "/" + the server's file name less its ".zip".
    // keepArchive false: the archive's single entry is extracted into `file`.
    // keepArchive true: the archive itself is moved to `file` when a name was given, and to
    // the server's file name in the current directory (not in dir, while `file` still names
    // dir + "/" + the shortened name) when none was.
    // Returns false when the temporary file cannot be created in dir or the download failed
    // (then no result file is written and `file` is unchanged); true otherwise: the
    // extraction and move results are not checked.
    bool Get(const char* diag, int shot, int subshot, std::string& file, const char* dir, bool keepArchive);

    // Registers (uploads) the data file dir + "/" + file (file alone when dir is empty) as
    // (diag, shot, subshot), replacing any earlier one; sub-shot 0 registers sub-shot 1.
    // The file is zipped to "/tmp/" + file + ".zip", which is removed after the upload.
    // Writes "summary=" + summary + newline to standard error on every call. `reserved` is
    // not used. Returns the upload's result, or true without contacting the service when
    // the source cannot be read or the archive cannot be written.
    bool Regist(const char* dir, const char* file, const char* diag, int shot, int subshot, const char* reserved,
                const char* summary);

    // Deletes the registered data set (diag, shot, subshot). Returns false on failure.
    bool Delete(const char* diag, int shot, int subshot);

    // Appends to `out` the records of the named data sets with shots from lower to higher,
    // the given sub-shot, registering account (userFilter) and at most `limit` rows, in the
    // service's order; the arguments go to the service unchanged. `out` is not cleared;
    // nothing is appended on failure. Returns false on failure.
    bool Search(std::vector<std::string> diags, int lower, int higher, int subshot, const char* userFilter,
                int limit, std::vector<TavolenInfo>& out);

    // Appends every data name known to the service to `out`. Returns false on failure.
    bool getDiagnostics(std::vector<std::string>& out);

    // Appends the entry counts of data set diag from `shot` over `range` shots to `out`, one
    // NumEntry {shot, count} per returned row. Returns false on failure.
    bool getNumEntry(const char* diag, int shot, int range, std::vector<NumEntry>& out);

    // Appends one DiagEntry {name, count} per registered data name to `out`. Returns false
    // on failure.
    bool getDiagEntry(std::vector<DiagEntry>& out);

    // The experiment log's column names. Throws clsException("ERROR") on failure.
    std::vector<std::string> getExplogColNames();

    // The experiment-log row of `shot`, one text per column. Throws clsException("ERROR")
    // on failure (also for an unknown shot).
    std::vector<std::string> getExplogColValues(int shot);

    // One column of the experiment-log row of `shot`. Throws clsException("ERROR") on
    // failure (also for an unknown shot or column).
    std::string getExplogColValue(int shot, const char* column);

    // Changes the password of account `user` from oldpass to newpass. Does not change the
    // process's own `pass`. Throws clsException("ERROR") on failure.
    void changePassword(const char* user, const char* oldpass, const char* newpass);
};

}  // namespace qx

// The constants are also reachable without the namespace, as older callers spell them.
using qx::INITFILE;
using qx::REGISTORY;

#endif
