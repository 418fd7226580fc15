// The hosts table: its values, hostile files, and every way of fetching
// reaching named hosts of the test web.
#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "platform/hosts.h"
#include "platform/url_download.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"
#include "web/download.h"
#include "web/fetcher.h"
#include "web/server_date.h"

namespace fs = std::filesystem;

TEST(HostValue, TakesNumericAddressesWithPortsInRange) {
  struct Row {
    const char* value;
    bool ok;
    const char* address;
    unsigned port;
  };
  const Row rows[] = {
      {"127.0.0.1", true, "127.0.0.1", 0},
      {"127.0.0.1:8080", true, "127.0.0.1", 8080},
      {"10.1.2.3:65535", true, "10.1.2.3", 65535},
      {"[::1]:81", true, "::1", 81},
      {"[::1]", true, "::1", 0},
      {"127.0.0.1:0", false, "", 0},
      {"127.0.0.1:65536", false, "", 0},
      {"127.0.0.1:99999999999", false, "", 0},
      {"127.0.0.1:", false, "", 0},
      {"127.0.0.1:8x", false, "", 0},
      {"localhost", false, "", 0},
      {"300.1.1.1", false, "", 0},
      {"::1", false, "", 0},
      {"[::1", false, "", 0},
      {"", false, "", 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value);
    HostEntry entry;
    ASSERT_EQ(ParseHostValue(row.value, entry), row.ok);
    if (row.ok) {
      EXPECT_EQ(entry.address, row.address);
      EXPECT_EQ(entry.port, row.port);
    }
  }
}

class HostsTest : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv();
    system = env.root / "system";
    fs::create_directories(system);
  }
  void TearDown() override { DropWebEnv(env); }
  void WriteTable(const std::string& text) { WriteWhole((system / "hosts.ini").string(), text); }
  WebEnv env;
  fs::path system;
};

TEST_F(HostsTest, HostileOrBrokenFilesAreReadSafelyOrIgnored) {
  HostEntry entry;
  EXPECT_FALSE(LookupHost("games.test", entry)) << "no file";
  WriteTable("");
  EXPECT_TRUE(ReadHostsTable().empty());

  std::string many = "[hosts]\n";
  for (int i = 0; i < 1000; ++i)
    many += "Host" + std::to_string(i) + ".test = 127.0.0." + std::to_string(i % 250 + 1) + "\n";
  many += "bad.test=nowhere\nport.test=127.0.0.1:70000\n";
  WriteTable(many);
  EXPECT_EQ(ReadHostsTable().size(), 1000u);
  ASSERT_TRUE(LookupHost("HOST999.test.", entry));
  EXPECT_EQ(entry.address, "127.0.0.250");
  EXPECT_FALSE(LookupHost("bad.test", entry));
  EXPECT_FALSE(LookupHost("port.test", entry));

  std::mt19937 random(7);
  std::string noise(10 << 20, '\0');
  for (char& c : noise)
    c = static_cast<char>(random());
  WriteTable("[Hosts]\ngames.test=127.0.0.1\n" + noise);
  auto start = std::chrono::steady_clock::now();
  ReadHostsTable();
  LookupHost("games.test", entry);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(HostsTest, EveryWayOfFetchingReachesTheTestWeb) {
  TestWeb web;
  web.Put("games.test", "/dir/Game.swf", "FWS-game");
  web.Put("lists.test", "/Top.ini", "[Top]\n1=a\n");
  web.Answer("clock.test", "*", {"date=Sat, 15 Nov 2008 10:00:00 GMT"});
  ASSERT_TRUE(web.Start());
  web.WriteHosts(system, {"Games.Test", "lists.test", "clock.test"});

  std::string swf = env.File("game.swf");
  EXPECT_EQ(URLDownloadToFile("https://games.test/dir/Game.swf", swf.c_str()), 0);
  EXPECT_EQ(ReadWhole(swf), "FWS-game");
  std::string top = env.File("top.ini");
  EXPECT_EQ(URLDownloadToFile("http://lists.test/Top.ini", top.c_str()), 0);
  EXPECT_EQ(ReadWhole(top), "[Top]\n1=a\n");

  char path[FetchPathSize];
  std::snprintf(path, sizeof path, "%s", env.File("fetched.ini").c_str());
  testing::internal::CaptureStdout();
  EXPECT_EQ(FetchToFile("http://lists.test/Top.ini", path), FetchDone);
  EXPECT_EQ(ServerDate("clock.test"), 20081115u);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(ReadWhole(path), "[Top]\n1=a\n");

  EXPECT_EQ(web.Count("games.test", "/dir/Game.swf"), 1);
  EXPECT_EQ(web.Count("lists.test", "/Top.ini"), 2);
  EXPECT_EQ(web.Count("clock.test", "."), 1);
  std::vector<TestWebRequest> requests = web.Requests();
  ASSERT_FALSE(requests.empty());
  EXPECT_EQ(requests[0].scheme, "https");

  // Without the certificate named, the test web's own is not trusted.
  web.WriteHosts(system, {"games.test"}, "[Trust]\nCertificate=\n");
  EXPECT_NE(URLDownloadToFile("https://games.test/dir/Game.swf", env.File("untrusted").c_str()), 0);
}

TEST_F(HostsTest, AnAddressNobodyAnswersFailsAsUsual) {
  // A port nobody listens on: refused at once by both ways of fetching.
  WriteTable("[Hosts]\ndead.test=127.0.0.1:1\nodd.test=127.0.0.1:0\n");
  char path[FetchPathSize];
  std::snprintf(path, sizeof path, "%s", env.File("f").c_str());
  testing::internal::CaptureStdout();
  EXPECT_EQ(FetchToFile("dead.test/x", path), FetchNoConnection);
  // An entry with a port out of range is ignored: the name is looked up as
  // it would be without the table, and .test names resolve nowhere.
  EXPECT_EQ(FetchToFile("odd.test/x", path), FetchNoHost);
  EXPECT_EQ(ServerDate("dead.test"), 0u);
  testing::internal::GetCapturedStdout();
  EXPECT_NE(URLDownloadToFile("http://dead.test/x", env.File("d").c_str()), 0);
  EXPECT_FALSE(fs::exists(env.File("d")));
}
