// The cache copy of a Flash file that a page loads, against a loopback
// server: only a whole file that begins like Flash is kept, named for the
// harvest with the ending .swf whatever its address's.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "browser/flash_cache.h"
#include "tests/web/script_server.h"

namespace fs = std::filesystem;

TEST(FlashCache, KeepsOnlyWholeFlashFiles) {
  char name[] = "/tmp/skerry-flash-cache-XXXXXX";
  fs::path cache = mkdtemp(name);
  ScriptServer server;
  StartServer(server, [](const std::string& request) {
    if (request.rfind("GET /play.php?id=3", 0) == 0)
      return PlainReply("CWS\x0a compressed game");
    if (request.rfind("GET /fake.swf", 0) == 0)
      return PlainReply("<html>a page, not a game</html>");
    return PlainReply("missing", "404 Not Found");
  });
  std::string base = "http://127.0.0.1:" + std::to_string(server.port);
  EXPECT_EQ(fs::path(CopyFlashToCache(base + "/play.php?id=3", cache.string())).filename(),
            "play[1].swf");
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
