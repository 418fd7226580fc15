// The URL download stand-in: whole 2xx bodies only, redirects, stalls, the
// target left alone on failure, and the copies it leaves in the cache folder.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <regex>

#include "platform/url_download.h"
#include "tests/web/script_server.h"
#include "tests/web/web_env.h"
#include "web/download.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> CacheFiles(const std::string& cache) {
  std::vector<std::string> files;
  if (!fs::exists(cache))
    return files;
  for (const auto& entry : fs::recursive_directory_iterator(cache))
    if (entry.is_regular_file())
      files.push_back(fs::relative(entry.path(), cache).string());
  std::sort(files.begin(), files.end());
  return files;
}

class DownloadTest : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv();
    StartServer(server, [](const std::string& request) -> ServerReply {
      auto asks = [&](const char* path) {
        return request.rfind(std::string("GET ") + path + " ", 0) == 0;
      };
      if (asks("/dir/List.htm?x=1"))
        return PlainReply("[List]\n1=a\n");
      if (asks("/moved"))
        return {
            {{"HTTP/1.1 302 Found\r\nLocation: /dir/List.htm?x=1\r\nContent-Length: 0\r\n\r\n"}}};
      if (asks("/missing.htm"))
        return PlainReply("not here", "404 Not Found");
      if (asks("/cut.htm"))
        return {{{"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly ten.."}}};
      if (asks("/stall.htm"))
        return {{{"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nsome"}}, true};
      if (asks("/empty.htm"))
        return PlainReply("");
      return PlainReply("?", "500 Server Error");
    });
    SetLoopbackRouteForTests("dl.test", server.port);
  }
  void TearDown() override {
    StopServer(server);
    DropWebEnv(env);
  }
  WebEnv env;
  ScriptServer server;
};

TEST_F(DownloadTest, WritesWholeBodiesAndLeavesACacheCopy) {
  std::string target = env.File("list.ini");
  EXPECT_EQ(URLDownloadToFile("http://dl.test/dir/List.htm?x=1", target.c_str()), 0);
  EXPECT_EQ(ReadWhole(target), "[List]\n1=a\n");
  EXPECT_EQ(URLDownloadToFile("http://dl.test/moved", env.File("moved.ini").c_str()), 0);
  EXPECT_EQ(ReadWhole(env.File("moved.ini")), "[List]\n1=a\n");
  EXPECT_EQ(URLDownloadToFile("http://dl.test/empty.htm", env.File("empty").c_str()), 0);
  EXPECT_TRUE(fs::exists(env.File("empty")));
  // A read-only target is replaced whole; its earlier cache copy stays as it was.
  chmod(target.c_str(), 0444);
  EXPECT_EQ(URLDownloadToFile("http://dl.test/empty.htm", target.c_str()), 0);
  EXPECT_EQ(ReadWhole(target), "");

  std::vector<std::string> files = CacheFiles(env.CacheFolder());
  ASSERT_EQ(files.size(), 4u);
  std::regex listCopy("[0-9A-Z]{8}/List\\[[12]\\]\\.htm");
  int lists = 0;
  for (const std::string& f : files) {
    if (std::regex_match(f, listCopy)) {
      ++lists;
      EXPECT_EQ(ReadWhole(env.CacheFolder() + "/" + f), "[List]\n1=a\n");
    }
  }
  EXPECT_EQ(lists, 2) << "the copy of a redirect is named after the address that answered";
  for (const auto& request : server.Requests())
    EXPECT_NE(request.find("User-Agent: "), std::string::npos);
}

TEST_F(DownloadTest, FailuresLeaveTheTargetAsItWas) {
  struct Row {
    const char* name;
    const char* url;
  };
  const Row rows[] = {
      {"status 404", "http://dl.test/missing.htm"},
      {"body shorter than its length", "http://dl.test/cut.htm"},
      {"unknown host", "http://no-such-host.invalid/x.htm"},
      {"refused port", "http://127.0.0.1:1/x.htm"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string fresh = env.File("fresh");
    std::string kept = env.File("kept");
    WriteWhole(kept, "the user's file");
    EXPECT_NE(URLDownloadToFile(row.url, fresh.c_str()), 0);
    EXPECT_NE(URLDownloadToFile(row.url, kept.c_str()), 0);
    EXPECT_FALSE(fs::exists(fresh));
    EXPECT_EQ(ReadWhole(kept), "the user's file");
  }
  EXPECT_TRUE(CacheFiles(env.CacheFolder()).empty());
}

TEST_F(DownloadTest, GivesUpOnAStalledTransfer) {
  DownloadOptions quick;
  quick.stallSeconds = 1;
  auto start = std::chrono::steady_clock::now();
  EXPECT_NE(DownloadUrlToFile("http://dl.test/stall.htm", env.File("s").c_str(),
                              env.CacheFolder().c_str(), quick),
            0);
  auto spent = std::chrono::steady_clock::now() - start;
  EXPECT_GE(spent, std::chrono::milliseconds(900));
  EXPECT_LT(spent, std::chrono::seconds(4));
  EXPECT_FALSE(fs::exists(env.File("s")));
}

TEST(ClaimCacheFile, NamesCopiesInTheCacheLayout) {
  WebEnv env = MakeWebEnv();
  std::string cache = env.CacheFolder();
  struct Row {
    const char* name;
    std::string url;
    std::string file; // regular expression of the name
  };
  const Row rows[] = {
      {"query and fragment left out", "http://h.test/dir/List.htm?x=1#f", "List\\[1\\]\\.htm"},
      {"forbidden characters", "http://h.test/a:b*c%22d.swf", "a_b_c%22d\\[1\\]\\.swf"},
      {"no extension", "http://h.test/noext", "noext\\[1\\]"},
      {"no name", "http://h.test/", "[0-9A-Z]{8}\\[1\\]"},
      {"long name shortened", "http://h.test/" + std::string(400, 'n') + ".swf", "n+\\[1\\]\\.swf"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string path = ClaimCacheFile(cache.c_str(), row.url.c_str());
    ASSERT_FALSE(path.empty());
    EXPECT_LT(path.size(), 260u);
    fs::path p(path);
    EXPECT_EQ(p.parent_path().parent_path(), fs::path(cache));
    EXPECT_TRUE(std::regex_match(p.parent_path().filename().string(), std::regex("[0-9A-Z]{8}")));
    EXPECT_TRUE(std::regex_match(p.filename().string(), std::regex(row.file)))
        << p.filename().string();
  }
  for (int i = 0; i < 20; ++i)
    ClaimCacheFile(cache.c_str(), "http://h.test/same.htm");
  int folders = 0;
  for (const auto& entry : fs::directory_iterator(cache))
    folders += entry.is_directory();
  EXPECT_LE(folders, 4) << "a few subfolders only";
  EXPECT_EQ(CacheFiles(cache).size(), std::size(rows) + 20);
  DropWebEnv(env);
}

} // namespace
