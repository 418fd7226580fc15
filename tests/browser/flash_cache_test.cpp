// The cache copy of a Flash file that a page loads, against a loopback
// server: only a whole file that begins like Flash is kept, in the classic
// layout of the browser cache.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "browser/flash_cache.h"
#include "tests/web/script_server.h"

namespace fs = std::filesystem;

TEST(FlashCache, KeepsOnlyWholeFlashFiles) {
  EXPECT_TRUE(NamesFlashFile("http://a.test/x/Game.SWF?v=2#top"));
  EXPECT_FALSE(NamesFlashFile("http://a.test/x.swf.htm"));
  EXPECT_FALSE(NamesFlashFile("swf"));
  for (const char* start : {"FWS", "CWS", "ZWS"})
    EXPECT_TRUE(IsFlashStart(std::string(start) + "\x0a"));
  EXPECT_FALSE(IsFlashStart("<ht"));
  EXPECT_FALSE(IsFlashStart("FW"));

  char name[] = "/tmp/skerry-flash-cache-XXXXXX";
  fs::path cache = mkdtemp(name);
  ScriptServer server;
  StartServer(server, [](const std::string& request) {
    if (request.rfind("GET /g.swf", 0) == 0)
      return PlainReply("CWS\x0a compressed game");
    if (request.rfind("GET /fake.swf", 0) == 0)
      return PlainReply("<html>a page, not a game</html>");
    return PlainReply("missing", "404 Not Found");
  });
  std::string base = "http://127.0.0.1:" + std::to_string(server.port);
  std::string kept = CopyFlashToCache(base + "/g.swf", cache.string());
  EXPECT_EQ(fs::path(kept).filename(), "g[1].swf");
  EXPECT_TRUE(CopyFlashToCache(base + "/fake.swf", cache.string()).empty());
  EXPECT_TRUE(CopyFlashToCache(base + "/gone.swf", cache.string()).empty());
  EXPECT_TRUE(CopyFlashToCache("file:///etc/passwd", cache.string()).empty());
  int files = 0;
  for (const auto& e : fs::recursive_directory_iterator(cache))
    files += e.is_regular_file();
  EXPECT_EQ(files, 1);
  StopServer(server);
  fs::remove_all(cache);
}
