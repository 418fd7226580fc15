// The cache copy of a Flash file that a page loads: only a whole file that
// begins like Flash is kept, named for the harvest with the ending .swf.
#include <gtest/gtest.h>

#include <algorithm>

#include "browser/flash_cache.h"
#include "tests/testweb/test_web.h"

namespace fs = std::filesystem;

TEST(FlashCache, KeepsOnlyWholeFlashFiles) {
  TestWeb web;
  web.Put("127.0.0.1", "/play.php", "CWS\x0a compressed game");
  web.Put("127.0.0.1", "/fake.swf", "<html>a page, not a game</html>");
  ASSERT_TRUE(web.Start());
  fs::path cache = web.Site("cache");
  std::string base = "http://127.0.0.1:" + std::to_string(web.Port());
  EXPECT_EQ(fs::path(CopyFlashToCache(base + "/play.php?id=3", cache)).filename(), "play[1].swf");
  EXPECT_EQ(CopyFlashToCache(base + "/fake.swf", cache), "");
  EXPECT_EQ(CopyFlashToCache(base + "/gone.swf", cache), "");
  EXPECT_EQ(CopyFlashToCache("file:///etc/passwd", cache), "");
  auto files = fs::recursive_directory_iterator(cache);
  EXPECT_EQ(std::count_if(begin(files), end(files), [](auto& e) { return e.is_regular_file(); }),
            1);
}
