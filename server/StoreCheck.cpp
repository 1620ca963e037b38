// The store checked against its catalogue for an operator: what is missing, damaged or left over, and what --repair does about it.
#include "StoreCheck.h"

#include <system_error>
#include <string>

#include <sys/stat.h>

#include "AuditLog.h"
#include "Catalogue.h"
#include "Store.h"

int checkStore(const Store& store, Catalogue& catalogue, bool repair, std::ostream& out) {
    int missing = 0, wrongSize = 0, strays = 0, left = 0;
    const auto entries = catalogue.all();
    for (const auto& e : entries) {
        const std::string what = e.relativePath() + " (" + AuditLog::dataSet(e.diagnostics, e.shotno, e.subshotno).substr(1) + ")";
        struct stat st {};
        if (lstat(store.absolute(e.relativePath()).c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
            ++missing;
            if (repair) {
                catalogue.remove(e.diagnostics, e.shotno, e.subshotno, e.userid);
                out << "dropped entry of missing " << what << "\n";
            } else {
                out << "missing " << what << "\n";
                ++left;
            }
        } else if (st.st_size != e.filelen) {
            ++wrongSize;
            ++left;
            out << "size " << what << ": " << st.st_size << " bytes, catalogue says " << e.filelen
                << (repair ? " (left as it is)" : "") << "\n";
        }
    }
    std::error_code ec;
    for (const std::string& stray : store.strays(catalogue)) {
        ++strays;
        if (!repair) {
            out << "stray " << stray << "\n";
            ++left;
            continue;
        }
        store.removeStray(stray, ec);
        if (ec) {
            out << "cannot remove stray " << stray << ": " << ec.message() << "\n";
            ++left;
        } else {
            out << "removed stray " << stray << "\n";
        }
    }
    out << entries.size() << " entries checked: " << missing << " missing, " << wrongSize << " of the wrong size, "
        << strays << " strays" << (repair ? "; " + std::to_string(left) + " problems left" : std::string()) << "\n";
    return left == 0 ? kStoreConsistent : kStoreProblems;
}
