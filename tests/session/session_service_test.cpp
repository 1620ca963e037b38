// The session layer against the reference service: round trips, typed refusals, batches, cancel, threads.
#include <atomic>
#include <filesystem>
#include <sstream>
#include <thread>

#include "ServiceFixture.h"
#include "SessionError.h"

namespace {

using anadata::ErrorCode;

qx::AnaData record(const char* name, int shot, int subshot) {
    const double time[4] = {0, 0.25, 0.5, 0.75};
    const double signal[4] = {1.5, -2, 3e-7, 4e12};
    qx::AnaData rec(1, 1);
    rec.setDiagnostics(name);
    rec.setShotNo(shot);
    rec.setSubNo(subshot);
    rec.setDate("11/23/2026 10:00");
    rec.addComment("made by the session test");
    rec.setDim(0, "time", "s", 4, time);
    rec.setVal(0, "signal", "V", 4, signal);
    return rec;
}

std::string textOf(const qx::AnaData& rec) {
    std::ostringstream out;
    out << rec;
    return out.str();
}

// The record as a reader of its text file sees it (the comment gains blank lines on the way).
std::string readBackText(const qx::AnaData& rec) {
    std::istringstream in(textOf(rec));
    qx::AnaData read;
    in >> read;
    return textOf(read);
}

ErrorCode codeOf(const std::function<void()>& call) { return errorOf(call).code(); }

class SessionService : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        options.endpoint = server->url();
        options.account = "alice";
        options.password = "wonder";
        std::filesystem::create_directory(dir.file("out"));
    }
    anadata::Session as(const char* account, const char* password) const {
        anadata::SessionOptions o = options;
        o.account = account;
        o.password = password;
        return anadata::Session(o);
    }
    std::vector<std::string> outFiles() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir.file("out")))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    anadata::SessionOptions options;
};

TEST_F(SessionService, RecordsRoundTripThroughMemoryAndFiles) {
    anadata::Session session(options);
    const qx::AnaData sent = record("probe", 5, 0);
    std::uint64_t sentBytes = 0, sentTotal = 0;
    anadata::RegisterOptions registering;
    registering.precision = 16;
    registering.progress = [&](std::uint64_t done, std::uint64_t total) {
        sentBytes = done;
        sentTotal = total;
        return true;
    };
    session.registerRecord(sent, registering);

    // Named as AnaData::regist() names it: no "-0" for sub-shot 0, which the service files as 1.
    const auto entries = session.search({{"probe"}, 1, 10, 0, "", 0});
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].filename, "probe@5.dat.zip");
    EXPECT_EQ(entries[0].subshot, 1);
    EXPECT_EQ(entries[0].user, "alice");
    EXPECT_EQ(entries[0].summary, "made by the session test\n");
    EXPECT_EQ(static_cast<std::uint64_t>(entries[0].size), sentTotal);
    EXPECT_EQ(sentBytes, sentTotal);

    std::uint64_t fetchTotal = 0;
    const qx::AnaData got = session.fetch("probe", 5, 1, [&](std::uint64_t, std::uint64_t total) {
        fetchTotal = total;
        return true;
    });
    EXPECT_EQ(fetchTotal, sentTotal);
    EXPECT_EQ(textOf(got), readBackText(sent));

    // Into a directory under the service's name, never over an existing file unless asked.
    const std::string path = session.fetchFile("probe", 5, 1, dir.file("out"));
    EXPECT_EQ(path, dir.file("out") + "/probe@5.dat");
    writeFile(path, "mine");
    EXPECT_EQ(codeOf([&] { session.fetchFile("probe", 5, 1, path); }), ErrorCode::local_io);
    EXPECT_EQ(readFile(path), "mine");
    anadata::FetchFileOptions replace;
    replace.overwrite = true;
    session.fetchFile("probe", 5, 1, path, replace);
    qx::AnaData fromFile;
    std::ifstream(path) >> fromFile;
    EXPECT_EQ(textOf(fromFile), readBackText(sent));
    EXPECT_EQ(outFiles(), std::vector<std::string>{"probe@5.dat"});  // no staged file left

    EXPECT_EQ(session.names(), std::vector<std::string>{"probe"});
    EXPECT_EQ(session.explogValue(101, "gas"), "He");
    session.remove("probe", 5);
    EXPECT_TRUE(session.search({{"probe"}, 0, 0, 0, "", 0}).empty());
}

TEST_F(SessionService, RefusalsCarryTheirCodes) {
    anadata::Session session(options);
    session.registerRecord(record("owned", 7, 1));
    const struct {
        const char* what;
        ErrorCode expected;
        std::function<void()> call;
    } cases[] = {
        {"missing data set", ErrorCode::not_found, [&] { session.fetch("owned", 8); }},
        {"missing deletion", ErrorCode::not_found, [&] { session.remove("owned", 8); }},
        {"unknown column", ErrorCode::not_found, [&] { session.explogValue(100, "nope"); }},
        {"unknown shot", ErrorCode::not_found, [&] { session.explogRow(102); }},
        {"wrong password", ErrorCode::unauthorized, [&] { as("alice", "wrong").registerRecord(record("x", 1, 1)); }},
        {"another's entry", ErrorCode::unauthorized, [&] { as("bob", "builder").remove("owned", 7); }},
        {"bad record", ErrorCode::format, [&] { session.registerRecord(qx::AnaData()); }},
        {"not a data file", ErrorCode::format, [&] { session.registerFile(dir.file("explog.csv"), "x", 1, 1); }},
    };
    for (const auto& c : cases) EXPECT_EQ(codeOf(c.call), c.expected) << c.what;
}

TEST_F(SessionService, BatchesReportEachShotInOrder) {
    anadata::Session session(options);
    for (int shot : {10, 12}) session.registerRecord(record("batch", shot, 1));
    std::vector<std::uint64_t> reported;
    anadata::BatchOptions batch;
    batch.jobs = 3;
    batch.progress = [&](std::uint64_t done, std::uint64_t total) {
        reported.push_back(done * 10 + total);
        return true;
    };
    const auto outcomes = session.fetchMany("batch", {12, 11, 10}, 1, batch);
    ASSERT_EQ(outcomes.size(), 3u);
    EXPECT_EQ(outcomes[0].record->getShotNo(), 12);
    EXPECT_EQ(outcomes[1].error->code(), ErrorCode::not_found);
    EXPECT_EQ(outcomes[2].record->getShotNo(), 10);
    EXPECT_EQ(reported, (std::vector<std::uint64_t>{13, 23, 33}));

    const auto files = session.fetchFiles("batch", {10, 12}, 1, dir.file("out"));
    EXPECT_TRUE(files[0].ok() && files[1].ok());
    EXPECT_EQ(outFiles(), (std::vector<std::string>{"batch@10-1.dat", "batch@12-1.dat"}));
}

TEST_F(SessionService, CancelLeavesNothingBehind) {
    anadata::Session session(options);
    const auto no = [](std::uint64_t, std::uint64_t) { return false; };
    anadata::RegisterOptions registering;
    registering.progress = no;
    EXPECT_EQ(codeOf([&] { session.registerRecord(record("cancel", 3, 1), registering); }), ErrorCode::cancelled);
    EXPECT_TRUE(session.search({{"cancel"}, 0, 0, 0, "", 0}).empty());  // aborted, not committed

    session.registerRecord(record("cancel", 3, 1));
    EXPECT_EQ(codeOf([&] { session.fetch("cancel", 3, 1, no); }), ErrorCode::cancelled);
    anadata::FetchFileOptions fetching;
    fetching.progress = no;
    EXPECT_EQ(codeOf([&] { session.fetchFile("cancel", 3, 1, dir.file("out"), fetching); }), ErrorCode::cancelled);
    anadata::BatchOptions batch;
    batch.progress = no;
    EXPECT_EQ(codeOf([&] { session.fetchMany("cancel", {3, 3, 3}, 1, batch); }), ErrorCode::cancelled);
    EXPECT_TRUE(outFiles().empty());
}

TEST_F(SessionService, PasswordChangeReachesCopiesOfTheSession) {
    anadata::Session session(options);
    const anadata::Session copy = session;
    session.changePassword("fresh");
    copy.registerRecord(record("pw", 1, 1));
    EXPECT_EQ(copy.options().password, "fresh");
    EXPECT_EQ(codeOf([&] { as("alice", "wonder").remove("pw", 1); }), ErrorCode::unauthorized);
}

// Run under ThreadSanitizer too: sessions, and one session shared by threads, all at once; the service
// takes their uploads and downloads side by side.
TEST_F(SessionService, ManyThreadsAndSessionsAtOnce) {
    anadata::Session shared(options);
    for (int shot = 1; shot <= 6; ++shot) shared.registerRecord(record("many", shot, 1));
    std::atomic<int> fetched{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            anadata::Session own(options);
            const anadata::Session& use = t % 2 ? own : shared;
            for (const auto& o : use.fetchMany("many", {1, 2, 3, 4, 5, 6}, 1)) fetched += o.ok();
            use.registerRecord(record("many", 10 + t, 1));  // uploads at once, into one catalogue
            fetched += use.fetch("many", 10 + t).getShotNo() == 10 + t;
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(fetched, 4 * 7);
}

}  // namespace
