// Times qx::minizip and qx::unzip against `zip -6` and `unzip -p` on one generated data file.
// Usage: bench_zip [megabytes (default 100)] [work directory (default /tmp)] [rounds (default 3)]
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "anadata_util.h"
#include "bench_common.h"

using bench::bestSeconds;
using bench::writeDataFile;

int main(int argc, char** argv) {
    std::size_t megabytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100;
    std::string base = argc > 2 ? argv[2] : "/tmp";
    int rounds = argc > 3 ? std::atoi(argv[3]) : 3;
    std::string dir = base + "/bench-zip-XXXXXX";
    if (::mkdtemp(dir.data()) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    std::string data = dir + "/data.dat", ours = dir + "/ours.zip", theirs = dir + "/theirs.zip";
    writeDataFile(data, megabytes << 20);

    double pack = bestSeconds(rounds, [&] { return qx::minizip(ours, data) == 0; });
    double zip = bestSeconds(rounds, [&] {
        std::filesystem::remove(theirs);
        return std::system(("zip -6 -q -j " + theirs + " " + data).c_str()) == 0;
    });
    double unpack = bestSeconds(rounds, [&] { return qx::unzip(ours, dir + "/out1") == 0; });
    double unzip = bestSeconds(rounds, [&] {
        return std::system(("unzip -p " + theirs + " > " + dir + "/out2").c_str()) == 0;
    });

    std::printf("data file      %zu bytes, archives: ours %ju bytes, zip -6 %ju bytes\n",
                static_cast<std::size_t>(std::filesystem::file_size(data)),
                static_cast<std::uintmax_t>(std::filesystem::file_size(ours)),
                static_cast<std::uintmax_t>(std::filesystem::file_size(theirs)));
    std::printf("pack   qx::minizip %.3f s   zip -6   %.3f s   ratio %.3f\n", pack, zip, pack / zip);
    std::printf("unpack qx::unzip   %.3f s   unzip -p %.3f s   ratio %.3f\n", unpack, unzip, unpack / unzip);
    std::filesystem::remove_all(dir);
    return 0;
}
