// The URL download on the test web: whole 2xx bodies only, its cache copies, answers that
// never end, and the failures every way of fetching must survive with the target untouched.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <regex>

#include "platform/url_download.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"
#include "web/download.h"
#include "web/fetcher.h"
#include "web/server_date.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> CacheFiles(const std::string& cache) {
  std::vector<std::string> files;
  std::error_code none; // no cache folder yet: no files
  for (const auto& entry : fs::recursive_directory_iterator(cache, none))
    if (entry.is_regular_file())
      files.push_back(fs::relative(entry.path(), cache).string());
  return files;
}

class DownloadTest : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv();
    web.Put("dl.test", "/dir/List.htm", "[List]\n1=a\n");
    web.Put("dl.test", "/empty.htm", "");
    web.Put("dl.test", "/big.swf", std::string(200000, 'b'));
    web.Answer("dl.test", "/moved", {"status=302", "location=/dir/List.htm?x=1"});
    ASSERT_TRUE(web.Start());
    // closed.test: a port that nothing listens on.
    web.WriteHosts(env.root / "system", {"dl.test"}, "closed.test=127.0.0.1:1\n");
  }
  void TearDown() override { DropWebEnv(env); }
  // Each way of failing leaves a new target unmade and an old one as it was.
  void ExpectFailureLeavesTargets(const std::function<int(const char*)>& download) {
    std::string fresh = env.File("fresh"), kept = env.File("kept");
    WriteWhole(kept, "the user's file");
    EXPECT_NE(download(fresh.c_str()), 0);
    EXPECT_NE(download(kept.c_str()), 0);
    EXPECT_FALSE(fs::exists(fresh));
    EXPECT_EQ(ReadWhole(kept), "the user's file");
  }
  WebEnv env;
  TestWeb web;
};

TEST_F(DownloadTest, WritesWholeBodiesAndLeavesACacheCopy) {
  std::string target = env.File("list.ini");
  EXPECT_EQ(URLDownloadToFile("http://dl.test/dir/List.htm?x=1", target.c_str()), 0);
  EXPECT_EQ(URLDownloadToFile("http://dl.test/moved", env.File("moved.ini").c_str()), 0);
  EXPECT_EQ(ReadWhole(env.File("moved.ini")), "[List]\n1=a\n");
  // A read-only target is replaced whole; its earlier cache copy stays as it was.
  chmod(target.c_str(), 0444);
  EXPECT_EQ(URLDownloadToFile("http://dl.test/empty.htm", target.c_str()), 0);
  EXPECT_EQ(ReadWhole(target), "");
  std::vector<std::string> files = CacheFiles(env.CacheFolder());
  ASSERT_EQ(files.size(), 3u);
  int lists = 0;
  for (const std::string& f : files)
    if (std::regex_match(f, std::regex("[0-9A-Z]{8}/List\\[[12]\\]\\.htm")) &&
        ReadWhole(env.CacheFolder() + "/" + f) == "[List]\n1=a\n")
      ++lists;
  EXPECT_EQ(lists, 2) << "the copy of a redirect is named after the address that answered";
}

TEST_F(DownloadTest, EndsAnswersThatStallTrickleOrGrowTooLarge) {
  struct Row {
    std::string rules;
    DownloadOptions options;
  };
  const Row rows[] = {
      {"stall=8000\tafter=100", {.stallSeconds = 1, .lowSpeedBytes = 0, .maxBytes = 0}},
      {"rate=200", {.lowSpeedBytes = 5000, .lowSpeedSeconds = 1, .maxBytes = 0}},
      {"nolength", {.lowSpeedBytes = 0, .maxBytes = 50000}},
      {"nolength\theader=Content-Length: 40000000000", {}},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(rows[i].rules);
    std::string url = "http://dl.test/endless" + std::to_string(i) + ".swf";
    web.Answer("dl.test", "/endless" + std::to_string(i) + ".swf", {rows[i].rules, "file=big.swf"});
    auto start = std::chrono::steady_clock::now();
    ExpectFailureLeavesTargets([&](const char* target) {
      return DownloadUrlToFile(url.c_str(), target, env.CacheFolder().c_str(), rows[i].options);
    });
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(9)); // both tries
  }
  EXPECT_TRUE(CacheFiles(env.CacheFolder()).empty());
  fs::path temp = env.root / "system/Temp";
  EXPECT_TRUE(!fs::exists(temp) || fs::is_empty(temp));
}

TEST_F(DownloadTest, FailuresOfEveryWayOfFetchingLeaveTheTargetAlone) {
  web.Answer("dl.test", "/cut.htm", {"cut=10", "body=" + std::string(100, 'c')});
  // FetchToFile's result (-1: not asked) and the host asked for the date (empty: not asked).
  const struct {
    const char* url;
    int fetch;
    const char* clock;
  } rows[] = {
      {"http://dl.test/missing.htm", -1, ""},
      {"http://dl.test/cut.htm", -1, ""},
      {"http://no-such-host.invalid/x.htm", FetchNoHost, "no-such-host.invalid"},
      {"http://closed.test/x.htm", FetchNoConnection, "closed.test"},
      {"http://127.0.0.1:1/x.htm", FetchNoHost, ""}, // the fetcher keeps the port in the host
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url);
    ExpectFailureLeavesTargets(
        [&](const char* target) { return URLDownloadToFile(row.url, target); });
    if (row.fetch >= 0) {
      EXPECT_EQ(FetchInto(row.url, env.File("kept")), row.fetch);
    }
    if (*row.clock != '\0') {
      EXPECT_EQ(ServerDate(row.clock), 0u);
    }
    EXPECT_EQ(ReadWhole(env.File("kept")), "the user's file");
  }
  EXPECT_TRUE(CacheFiles(env.CacheFolder()).empty());
}

TEST(ClaimCacheFile, NamesCopiesInTheCacheLayout) {
  WebEnv env = MakeWebEnv();
  std::string cache = env.CacheFolder();
  const std::pair<std::string, const char*> rows[] = {
      {"http://h.test/dir/List.htm?x=1#f", "List\\[1\\]\\.htm"},
      {"http://h.test/a:b*c%22d.swf", "a_b_c%22d\\[1\\]\\.swf"},
      {"http://h.test/", "[0-9A-Z]{8}\\[1\\]"},
      {"http://h.test/" + std::string(400, 'n') + ".swf", "n+\\[1\\]\\.swf"},
  };
  for (const auto& [url, name] : rows) {
    fs::path p = ClaimCacheFile(cache.c_str(), url.c_str());
    EXPECT_LT(p.string().size(), 260u);
    EXPECT_TRUE(std::regex_match(p.string(), std::regex(cache + "/[0-9A-Z]{8}/" + name))) << p;
  }
  DropWebEnv(env);
}

} // namespace
