// The soapAnaData* members without a handle: path, date, file, zip and summary helpers.
#include "soapAnaData.h"

#include "anadata_util.h"
#include "explog.h"

extern "C" {

int soapAnaDataThe_date(std::string& out) {
    out = qx::the_date();
    return 0;
}

bool soapAnaDataIsDigit(const char* text) { return qx::isDigit(text); }

bool soapAnaDataMoveFile(const char* from, const char* to) { return qx::MoveFile(from, to); }

int soapAnaDataGetDirName(const char* path, std::string& out) {
    out = qx::getDirName(path);
    return 0;
}

int soapAnaDataGetFileName(const char* path, std::string& out) {
    out = qx::getFileName(path);
    return 0;
}

int soapAnaDataUnzip(const std::string& zipPath, const std::string& outPath) { return qx::unzip(zipPath, outPath); }

int soapAnaDataMinizip(const std::string& zipPath, const std::string& filePath) {
    return qx::minizip(zipPath, filePath);
}

int soapAnaDataDispSummary(int* n, const std::string& text) {
    qx::dispSummary(n ? *n : 0, text);
    return 0;
}

int soapAnaDataGetSummary(const std::string& file, std::string& summary, std::string& date, std::string& time) {
    qx::getSummary(file, summary, date, time);
    return 0;
}

}  // extern "C"
