// Registers the sample data set "sample", shot 1234, sub-shot 1 on the service named in the settings.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "anadata.h"
#include "anadata_util.h"
#include "clsAnaDataAccess.h"

namespace {

// Five times by three channels; signal = time * (channel + 1), noise = channel / 100.
qx::AnaData sampleRecord() {
    double time[5], channel[3] = {0, 1, 2}, signal[15], noise[15];
    for (int t = 0; t < 5; ++t) {
        time[t] = 0.001 * t;
        for (int c = 0; c < 3; ++c) signal[t * 3 + c] = time[t] * (c + 1), noise[t * 3 + c] = c / 100.0;
    }
    qx::AnaData rec(2, 2);
    rec.setDiagnostics("sample");
    rec.setShotNo(1234);
    rec.setSubNo(1);
    rec.setDate("03/07/2009 14:05");
    rec.addComment("sample data set of the test service");
    rec.setDim(0, "time", "s", 5, time);
    rec.setDim(1, "channel", "", 3, channel);
    rec.setVal(0, "signal", "V", 15, signal);
    rec.setVal(1, "noise", "V", 15, noise);
    return rec;
}

// Registration zips the data file to "/tmp" under the file's own name, so two seeds running at
// once (parallel service tests) would overwrite and remove each other's archive. Seeds take turns
// through an exclusive lock on this program's own executable, which leaves no lock file behind.
class SeedTurn {
public:
    SeedTurn() : fd_(open("/proc/self/exe", O_RDONLY | O_CLOEXEC)) {
        if (fd_ >= 0) flock(fd_, LOCK_EX);
    }
    ~SeedTurn() {
        if (fd_ >= 0) close(fd_);
    }
    SeedTurn(const SeedTurn&) = delete;
    SeedTurn& operator=(const SeedTurn&) = delete;

private:
    int fd_;
};

}  // namespace

int main() {
    SeedTurn turn;
    const char* base = std::getenv("TMPDIR");
    std::string dir = std::string(base && *base ? base : "/tmp") + "/anadata-sampleXXXXXX";
    if (!mkdtemp(dir.data())) {
        std::perror("seed_sample: mkdtemp");
        return 1;
    }
    const std::string file = "sample@1234-1.dat";
    const std::string path = dir + "/" + file;
    bool ok = false;
    try {
        {
            std::ofstream out(path, std::ios::binary | std::ios::trunc);
            out << sampleRecord();
            out.close();
            if (!out) throw qx::AnaDataException("cannot write " + path);
        }
        qx::clsAnaDataAccess access;
        ok = access.Regist(dir.c_str(), file.c_str(), "sample", 1234, 1, "", "sample data set");
    } catch (const qx::clsException& e) {
        std::fprintf(stderr, "seed_sample: %s\n", e.getMessage().c_str());
    }
    std::remove(path.c_str());
    rmdir(dir.c_str());
    if (!ok) std::fprintf(stderr, "seed_sample: registration of sample 1234/1 failed\n");
    return ok ? 0 : 1;
}
