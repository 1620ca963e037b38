// TavolenSoapClient on its own against a scripted listener: the quirks of its transfers.
#include "TavolenSoapClient.h"

#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>

#include "ClientFixture.h"
#include "FakeService.h"

namespace {

const auto operationOf = &FakeService::operationOf;

FakeService::Answer answer(const std::string& request) {
    std::string op = operationOf(request);
    if (op == "beginTavolenDataRegistration") return FakeService::response(op, "<session>S</session>");
    if (op == "getTavolenDataPath") return FakeService::response(op, "<path>/srv/data/base.zip</path>");
    if (op == "getData") {
        bool first = request.find("<pos>0</pos>") != std::string::npos;
        return FakeService::response(op, first ? "<bin>QUI=</bin>" : "<bin/>");
    }
    return FakeService::response(op, "<ret>7</ret>");  // a "ret" the client does not judge
}

class SoapClientTest : public ::testing::Test {
protected:
    TempDir dir;
    FakeService service{answer};
    TavolenSoapClient client{service.url().c_str()};
};

TEST_F(SoapClientTest, UploadOfAMissingFileCallsNothingAndOfAnEmptyOneIsBeginAndEndWithItsLocalTime) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(client.putData("u", "p", dir.path().c_str(), "absent.zip", "d", 1, 1, "s"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "file doesn't exit\n");
    EXPECT_TRUE(service.requests().empty());

    writeFile(dir.file("empty.zip"), "");
    std::tm when{};
    when.tm_year = 2021 - 1900, when.tm_mon = 2, when.tm_mday = 7, when.tm_hour = 8, when.tm_min = 9, when.tm_sec = 5;
    when.tm_isdst = -1;
    const timespec times[2] = {{0, UTIME_OMIT}, {std::mktime(&when), 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, dir.file("empty.zip").c_str(), times, 0), 0);
    EXPECT_TRUE(client.putData("u", "p", dir.path().c_str(), "empty.zip", "d", 1, 0, "s"));
    ASSERT_EQ(service.requests().size(), 2u);
    EXPECT_EQ(operationOf(service.requests()[1]), "endTavolenDataRegistration");
    EXPECT_EQ(FakeService::valueOf(service.requests()[0], "filedate"), "2021-03-07 08:09:05");
    EXPECT_NE(service.requests()[0].find("<filelen>0</filelen><"), std::string::npos);
    EXPECT_NE(service.requests()[0].find("<subshotno>0</subshotno>"), std::string::npos);  // sent as given
}

TEST_F(SoapClientTest, DownloadTargetsAndTheUntruncatedFile) {
    std::filesystem::current_path(dir.path());
    std::filesystem::create_directories(dir.file("sub"));
    std::string file;
    // No local name: the server's base name in the current directory, the directory unused.
    ASSERT_TRUE(client.getData("d", 1, 1, file, "sub", nullptr));
    EXPECT_EQ(file, "base.zip");
    EXPECT_EQ(readFile(dir.file("base.zip")), "AB");
    EXPECT_FALSE(std::filesystem::exists(dir.file("sub/base.zip")));
    // A local name without a directory: "./" + the name. An older, longer file keeps its tail.
    writeFile(dir.file("local"), "0123456789");
    ASSERT_TRUE(client.getData("d", 1, 1, file, nullptr, "local"));
    EXPECT_EQ(readFile(dir.file("local")), "AB23456789");
    ASSERT_TRUE(client.getData("d", 1, 1, file, "sub", "named"));
    EXPECT_EQ(readFile(dir.file("sub/named")), "AB");
}

TEST(DataBlockReply, DecodesEveryFormOfTheBlockTextAndRefusesBrokenOnes) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"<bin>QUJD</bin>", "ABC"},
        {"<bin>QQ==</bin>", "A"},
        {"<bin>QUI=</bin>", "AB"},
        {"<bin>QQ</bin>", "A"},  // padding may be left out
        {"<bin>\n Q U\r\n JD\t</bin>", "ABC"},
        {"<other>x</other><bin xsi:type=\"xsd:base64Binary\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
         " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">/+/+</bin>", "\xff\xef\xfe"},
        {"<bin>QUJDREVGR0hJSktM</bin>", "ABCDEFGHIJKL"},  // whole groups, eight digits at a time
        {"<bin>QUJD\nREVGR0hJSks=</bin>", "ABCDEFGHIJK"},
        {"<bin>QUJDREVGR0g*SktM</bin>", "fails"},
        {"<bin>QUJDREVGQQ==QUJDREVG</bin>", "fails"},
        {"<bin>Q</bin>", "fails"},
        {"<bin>QQ==QQ==</bin>", "fails"},
        {"<bin>QU&#74;D</bin>", "fails"},
        {"<bin>QU*D</bin>", "fails"}};
    for (const auto& [reply, bytes] : cases) {
        SCOPED_TRACE(reply);
        FakeService service([&, reply = reply](const std::string& r) {
            if (operationOf(r) == "getTavolenDataPath") return answer(r);
            return FakeService::response("getData", r.find("<pos>0<") != std::string::npos ? reply : "<bin/>");
        });
        TavolenSoapClient client(service.url().c_str());
        TempDir dir;
        std::string file;
        testing::internal::CaptureStderr();
        bool ok = client.getData("d", 1, 1, file, dir.path().c_str(), "out");
        std::string printed = testing::internal::GetCapturedStderr();
        EXPECT_EQ(ok ? readFile(dir.file("out")) : "fails", bytes) << printed;
    }
}

}  // namespace

// A stub given no endpoint goes to the one compiled in, which is the service namespace URI itself.
TEST(Stubs, DefaultEndpointIsTheServiceNamespace) {
    struct soap soap;
    soap_init(&soap);
    soap.connect_timeout = soap.send_timeout = soap.recv_timeout = 2;
    ns__StringArray names;
    soap_call_ns__getDiagnostics(&soap, nullptr, nullptr, names);
    EXPECT_STREQ(soap.endpoint, SERVICE_NAMESPACE);
    soap_destroy(&soap);
    soap_end(&soap);
    soap_done(&soap);
}
