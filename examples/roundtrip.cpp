// Builds a small data set, saves it as text and as a dump, loads both back and prints them.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include <unistd.h>

#include <anadata/anadata.h>

namespace {

void print(const char* title, const qx::AnaData& rec) {
    std::cout << title << ": " << rec.getDiagnostics() << " shot " << rec.getShotNo() << ", "
              << rec.getValSize() << " points\n";
    const double* te = rec.getValData("Te");
    for (int t = 0; t < rec.getDimSize(0); ++t) {
        for (int r = 0; r < rec.getDimSize(1); ++r) {
            std::cout << "  Time=" << rec.getDimData(0)[t] << " R=" << rec.getDimData(1)[r]
                      << " Te=" << te[t * rec.getDimSize(1) + r] << '\n';
        }
    }
}

}  // namespace

int main() {
    // A record with two dimensions (Time x R) and one value column.
    qx::AnaData rec(2, 1);
    rec.setDiagnostics("te");
    rec.setShotNo(1234);
    rec.setDate();
    const double time[] = {0.1, 0.2};
    const double radius[] = {3.0, 3.5};
    const double te[] = {2.1, 1.9, 2.2, 1.8};  // row-major: R varies fastest
    rec.setDim(0, "Time", "s", 2, time);
    rec.setDim(1, "R", "m", 2, radius);
    rec.setVal(0, "Te", "keV", 4, te);
    rec.addComment("first fit");

    char dir[] = "/tmp/anadata-roundtrip-XXXXXX";
    if (mkdtemp(dir) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string textPath = std::string(dir) + "/te.dat";
    const std::string dumpPath = std::string(dir) + "/te.dump";
    int status = 0;
    try {
        {
            std::ofstream text(textPath, std::ios::binary);
            text << rec;
            std::ofstream dump(dumpPath, std::ios::binary);
            rec.dump(dump);
        }
        // checkHeader tells the two formats apart without consuming anything.
        qx::AnaData fromText;
        std::ifstream text(textPath, std::ios::binary);
        if (qx::AnaData::checkHeader(text) == 0) text >> fromText;
        std::ifstream dump(dumpPath, std::ios::binary);
        const qx::AnaData fromDump = qx::AnaData::checkHeader(dump) == 1 ? qx::AnaData::restore(dump) : qx::AnaData();
        if (text.fail() || dump.fail()) throw qx::AnaDataException("could not read the files back");
        print("text", fromText);
        print("dump", fromDump);
    } catch (const qx::clsException& e) {
        std::cerr << "error: " << e.getMessage() << '\n';
        status = 1;
    }
    std::remove(textPath.c_str());
    std::remove(dumpPath.c_str());
    rmdir(dir);
    return status;
}
