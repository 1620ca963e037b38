// Fetches a data set from the service named in the settings file and prints its dimensions and first values.
//
//   fetch [NAME [SHOT [SUBSHOT]]]        (default: sample 1234 1)
//
// The settings file is $CLIENT_INI2, else ~/.client2.ini, else /etc/client2.ini, for example:
//   [tserver]
//   account=analyst
//   passwd=secret
//   endpoint=http://127.0.0.1:8080/
#include <cstdlib>
#include <iostream>

#include <anadata/anadata.h>

int main(int argc, char** argv) {
    const char* name = argc > 1 ? argv[1] : "sample";
    int shot = argc > 2 ? std::atoi(argv[2]) : 1234;
    int subshot = argc > 3 ? std::atoi(argv[3]) : 1;

    qx::AnaData rec;
    try {
        rec = qx::AnaData::retrieve(name, shot, subshot, false);
    } catch (const qx::AnaDataException& e) {
        std::cerr << "fetch: " << name << " " << shot << "/" << subshot << ": " << e.getMessage() << '\n';
        return 1;
    }

    std::cout << rec.getDiagnostics() << " shot " << rec.getShotNo() << ", " << rec.getDate() << '\n';
    for (int d = 0; d < rec.getDimNo(); ++d) {
        std::cout << "dimension " << rec.getDimName(d) << " [" << rec.getDimUnit(d) << "], "
                  << rec.getDimSize(d) << " points:";
        for (int i = 0; i < rec.getDimSize(d) && i < 5; ++i) std::cout << ' ' << rec.getDimData(d)[i];
        std::cout << '\n';
    }
    // Values run over the grid with the last dimension fastest.
    for (int v = 0; v < rec.getValNo(); ++v) {
        std::cout << "value " << rec.getValName(v) << " [" << rec.getValUnit(v) << "]:";
        for (int i = 0; i < rec.getValSize() && i < 5; ++i) std::cout << ' ' << rec.getValData(v)[i];
        std::cout << '\n';
    }
    return 0;
}
