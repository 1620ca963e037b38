// The session layer against peers that misbehave: each failure gets its code, and no file is left.
#include <atomic>
#include <filesystem>

#include <gtest/gtest.h>

#include "FakeService.h"
#include "SessionError.h"
#include "TempDir.h"

namespace {

using anadata::ErrorCode;
using Answer = FakeService::Answer;

// A service whose catalogue lists `length` bytes for every data set, and whose blocks are `block`.
Answer catalogueThen(const std::string& request, const Answer& block, int length = 10) {
    const std::string op = FakeService::operationOf(request);
    if (op == "listTavolenInfo")
        return FakeService::response(op, "<ary><item><diagnostics>d</diagnostics><shotno>1</shotno><subshotno>1"
                                          "</subshotno><filelen>" + std::to_string(length) + "</filelen></item></ary>");
    if (op == "getTavolenDataPath") return FakeService::response(op, "<path>/srv/d.dat.zip</path>");
    return block;
}

struct Case {
    const char* what;
    FakeService::Script script;
    ErrorCode expected;
};

TEST(SessionFaults, EachFailureHasItsCode) {
    const Case cases[] = {
        {"a plain fault is a refusal",
         [](const std::string& r) { return catalogueThen(r, FakeService::fault("no, thanks")); }, ErrorCode::refused},
        {"a reply that is no SOAP",
         [](const std::string&) {
             return Answer{FakeService::Action::close, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello"};
         },
         ErrorCode::protocol},
        {"a reply that trickles", [](const std::string& r) {
             Answer a = FakeService::response(FakeService::operationOf(r), "<path>/x</path>");
             a.action = FakeService::Action::trickle;
             return a;
         },
         ErrorCode::timeout},
        {"more bytes than the catalogue gives",
         [](const std::string& r) {
             return catalogueThen(r, FakeService::response("getData", "<bin>" + std::string(400, 'A') + "</bin>"));
         },
         ErrorCode::protocol},
        {"fewer bytes than the catalogue gives",
         [](const std::string& r) {
             const bool first = FakeService::valueOf(r, "pos") == "0";
             return catalogueThen(r, FakeService::response("getData", first ? "<bin>QUJD</bin>" : "<bin/>"));
         },
         ErrorCode::protocol},
    };
    for (const Case& c : cases) {
        TempDir dir;
        FakeService service(c.script);
        anadata::SessionOptions options;
        options.endpoint = service.url();
        options.ioTimeout = std::chrono::seconds(1);
        options.requestTimeout = std::chrono::seconds(2);
        anadata::Session session(options);
        const anadata::Error e = errorOf([&] { session.fetchFile("d", 1, 1, dir.path()); });
        EXPECT_EQ(e.code(), c.expected) << c.what << ": " << e.what();
        if (c.expected == ErrorCode::refused) {
            EXPECT_STREQ(e.what(), "no, thanks");
        }
        EXPECT_TRUE(std::filesystem::is_empty(dir.path())) << c.what;
    }
}

// A download whose length the catalogue gives stops on its last byte: no request for a block past it.
TEST(SessionWire, ADownloadAsksForNoBlockPastTheCataloguesLength) {
    TempDir dir;
    FakeService service([](const std::string& r) {
        const bool first = FakeService::valueOf(r, "pos") == "0";
        return catalogueThen(r, FakeService::response("getData", first ? "<bin>QUJD</bin>" : "<bin/>"), 3);
    });
    anadata::SessionOptions options;
    options.endpoint = service.url();
    anadata::FetchFileOptions file;
    file.keepArchive = true;
    anadata::Session(options).fetchFile("d", 1, 1, dir.file("d.zip"), file);
    EXPECT_EQ(readFile(dir.file("d.zip")), "ABC");
    int blocks = 0;
    for (const auto& r : service.requests()) blocks += FakeService::operationOf(r) == "getData";
    EXPECT_EQ(blocks, 1);
}

// A reply that is no SOAP message, longer than what the runtime reads before it gives up, leaves
// the rest of it on the connection, which must therefore not serve the next call.
TEST(SessionWire, AConnectionWhoseCallFailedIsNotUsedAgain) {
    std::atomic<int> replies{0};
    FakeService service([&](const std::string& r) {
        if (replies++ == 0) return Answer{FakeService::Action::reply, FakeService::http(std::string(200000, 'x'))};
        return FakeService::response(FakeService::operationOf(r), "<diags><item>x</item></diags>");
    });
    anadata::SessionOptions options;
    options.endpoint = service.url();
    options.ioTimeout = std::chrono::seconds(2);
    anadata::Session session(options);
    EXPECT_EQ(errorOf([&] { session.names(); }).code(), ErrorCode::protocol);
    EXPECT_EQ(session.names(), std::vector<std::string>{"x"});
}

TEST(SessionFaults, NoServiceIsATransportFailure) {
    int port;
    {
        FakeService gone([](const std::string&) { return FakeService::fault("unused"); });
        port = std::stoi(gone.url().substr(gone.url().rfind(':') + 1));
    }
    anadata::SessionOptions options;
    options.endpoint = "http://127.0.0.1:" + std::to_string(port) + "/";
    EXPECT_EQ(errorOf([&] { anadata::Session(options).names(); }).code(), ErrorCode::transport);
    options.endpoint = "ftp://127.0.0.1/";
    EXPECT_THROW(anadata::Session{options}, anadata::Error);
}

}  // namespace
