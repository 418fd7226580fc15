// The hosts table: its values, hostile files, names in any case and the
// certificate it trusts.
#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "platform/hosts.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"
#include "web/download.h"

namespace fs = std::filesystem;

TEST(HostValue, TakesNumericAddressesWithPortsInRange) {
  const std::pair<const char*, const char*> rows[] = {
      {"127.0.0.1", "127.0.0.1 0"},
      {"10.1.2.3:65535", "10.1.2.3 65535"},
      {"[::1]:81", "::1 81"},
      {"[::1]", "::1 0"},
      {"127.0.0.1:0", ""},
      {"127.0.0.1:65536", ""},
      {"127.0.0.1:99999999999", ""},
      {"127.0.0.1:", ""},
      {"127.0.0.1:8x", ""},
      {"localhost", ""},
      {"::1", ""},
      {"[::1", ""},
      {"", ""},
  };
  for (const auto& [value, parsed] : rows) {
    HostEntry entry;
    std::string got =
        ParseHostValue(value, entry) ? entry.address + " " + std::to_string(entry.port) : "";
    EXPECT_EQ(got, parsed) << value;
  }
}

class HostsTest : public testing::Test {
 protected:
  void SetUp() override { env = MakeWebEnv(); }
  void TearDown() override { DropWebEnv(env); }
  WebEnv env;
};

TEST_F(HostsTest, HostileOrBrokenFilesAreReadSafelyOrIgnored) {
  HostEntry entry;
  fs::create_directories(env.root / "system");
  auto table = [&](const std::string& text) { WriteWhole(env.File("system/hosts.ini"), text); };

  std::string many = "[hosts]\n";
  for (int i = 0; i < 1000; ++i)
    many += "Host" + std::to_string(i) + ".test = 127.0.0." + std::to_string(i % 250 + 1) + "\n";
  many += "bad.test=nowhere\nport.test=127.0.0.1:70000\n";
  table(many);
  EXPECT_EQ(ReadHostsTable().size(), 1000u);
  ASSERT_TRUE(LookupHost("HOST999.test.", entry));
  EXPECT_EQ(entry.address, "127.0.0.250");

  std::mt19937 random(7);
  std::string noise(10 << 20, '\0');
  for (char& c : noise)
    c = static_cast<char>(random());
  table("[Hosts]\ngames.test=127.0.0.1\n" + noise);
  auto start = std::chrono::steady_clock::now();
  ReadHostsTable();
  LookupHost("games.test", entry);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(HostsTest, NamesAnyCaseAndTrustsOnlyTheNamedCertificate) {
  TestWeb web;
  web.Put("games.test", "/dir/Game.swf", "FWS-game");
  ASSERT_TRUE(web.Start());
  web.WriteHosts(env.root / "system", {"Games.Test"});
  std::string swf = env.File("game.swf");
  EXPECT_EQ(URLDownloadToFile("https://games.test/dir/Game.swf", swf.c_str()), 0);
  EXPECT_EQ(ReadWhole(swf), "FWS-game");

  web.WriteHosts(env.root / "system", {"games.test"}, "[Trust]\nCertificate=\n");
  EXPECT_NE(URLDownloadToFile("https://games.test/dir/Game.swf", env.File("untrusted").c_str()), 0);
}
