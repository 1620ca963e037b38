// ExpLog: experiment-log queries, each on a fresh access object with the configured settings.
#include "explog.h"

#include "clsAnaDataAccess.h"

namespace qx {

std::vector<std::string> ExpLog::getColumnNames() { return clsAnaDataAccess().getExplogColNames(); }

std::vector<std::string> ExpLog::getValues(int shotno) { return clsAnaDataAccess().getExplogColValues(shotno); }

std::string ExpLog::getValue(int shotno, const char* column) {
    return clsAnaDataAccess().getExplogColValue(shotno, column);
}

}  // namespace qx
