// The soapAnaData* members that take a handle: a table of access objects chosen by the caller.
#include "soapAnaData.h"

#include <cstdlib>
#include <map>
#include <mutex>

#include "clsAnaDataAccess.h"

using qx::clsAnaDataAccess;

namespace {

// Unlike the record tables, the caller picks the numbers, so there is no counter. Guarded like
// them: entries come and go on any thread while the others stay where they are.
struct Repository {
    std::mutex mutex;
    std::map<int, clsAnaDataAccess> objects;
};

Repository& repository() {
    static Repository table;
    return table;
}

// Throws NotAllocated and nothing else.
clsAnaDataAccess& getData(int handle) {
    Repository& table = repository();
    std::lock_guard<std::mutex> lock(table.mutex);
    auto found = table.objects.find(handle);
    if (found == table.objects.end()) throw qx::NotAllocated();
    return found->second;
}

// A null handle pointer is no handle at all.
clsAnaDataAccess& getData(const int* handle) {
    if (!handle) throw qx::NotAllocated();
    return getData(*handle);
}

}  // namespace

extern "C" {

int soapAnaDataAccessNew(int* handle, const char* inifile) {
    if (!handle) throw qx::NotAllocated();
    clsAnaDataAccess loader(inifile);
    Repository& table = repository();
    std::lock_guard<std::mutex> lock(table.mutex);
    table.objects.try_emplace(*handle);
    return 0;
}

int soapAnaDataAccessRelease(int* handle) {
    if (handle == nullptr) return 0;
    Repository& table = repository();
    std::lock_guard<std::mutex> lock(table.mutex);
    table.objects.erase(*handle);
    return 0;
}

bool soapAnaDataGet(int* handle, const char* diag, int* shot, int* subshot, std::string& path,
                    const char* /*ignored*/, bool* flag) {
    clsAnaDataAccess& access = getData(handle);
    // Existing callers get no archive and no directory choice through this member.
    if (flag) *flag = false;
    return access.Get(diag, *shot, *subshot, path, nullptr, false);
}

bool soapAnaDataRegist(int* handle, const char* dir, const char* file, const char* diag, int* shot, int* subshot,
                       const char* reserved, const char* summary) {
    return getData(handle).Regist(dir, file, diag, *shot, *subshot, reserved, summary);
}

bool soapAnaDataDelete(int* handle, const char* diag, int* shot, int* subshot) {
    return getData(handle).Delete(diag, *shot, *subshot);
}

bool soapAnaDataSearch(int* handle, std::vector<std::string>& diags, int* lower, int* higher, int* subshot,
                       const char* user, int* limit, std::vector<qx::TavolenInfo>& rows) {
    return getData(handle).Search(diags, *lower, *higher, *subshot, user, *limit, rows);
}

bool soapAnaDataGetDiagnostics(int* handle, std::vector<std::string>& names) {
    return getData(handle).getDiagnostics(names);
}

bool soapAnaDataGetNumEntry(int* handle, const char* diag, int* shot, int* range, std::vector<qx::NumEntry>& rows) {
    return getData(handle).getNumEntry(diag, *shot, *range, rows);
}

bool soapAnaDataGetDiagEntry(int* handle, std::vector<qx::DiagEntry>& rows) {
    return getData(handle).getDiagEntry(rows);
}

int soapAnaDataGetExplogColNames(int* handle, std::vector<std::string>& names) {
    names = getData(handle).getExplogColNames();
    return 0;
}

int soapAnaDataGetExplogColValues(int* handle, int* shotno, std::vector<std::string>& values) {
    values = getData(handle).getExplogColValues(*shotno);
    return 0;
}

int soapAnaDataGetExplogColValue(int* handle, int* shotno, const char* column, std::string& value) {
    value = getData(handle).getExplogColValue(*shotno, column);
    return 0;
}

int soapAnaDataChgPass(int* handle, const char* user, const char* oldpass, const char* newpass) {
    getData(handle).changePassword(user, oldpass, newpass);
    return 0;
}

int soapAnaDataGetPage(int* handle) {
    return std::atoi(getData(handle).getPage().c_str());
}

int soapAnaDataGetLimit(int* handle) {
    return std::atoi(getData(handle).getLimit().c_str());
}

int soapAnaDataGetBaseDir(int* handle, std::string& dir) {
    dir = getData(handle).getBaseDir();
    return 0;
}

}  // extern "C"
