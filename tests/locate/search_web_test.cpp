// The web search on the test web: names with a blank and in Chinese asked
// for escaped, https result links and game pages, on both ways of fetching.
#include <gtest/gtest.h>

#include "games/locate.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"

namespace {

TEST(SearchOnTheTestWeb, NamesAreEscapedAndHttpsLinksFollowed) {
  WebEnv env = MakeWebEnv("SearchHost=search.test\n");
  {
    TestWeb web;
    const char* results = "<b>>Search Results<</b><li><a class=yschttl "
                          "href=\"**https%3a//games.test/rocket.htm\">Rocket Race</a>";
    web.Answer("search.test", "/search?p=Rocket%20Race", {std::string("body=") + results});
    web.Answer("search.test", "/search?p=火箭赛车",
               {"body=<b>>Search Results<</b><li><a class=r "
                "href=\"https://games.test/rocket.htm\">火箭</a>"});
    web.Put("games.test", "/rocket.htm",
            "<embed src=\"https://games.test/files/Rocket.swf\" width=640 height=480>");
    // The URL download refuses this one, so the fetcher must ask escaped too.
    web.Answer(
        "search.test", "/search?p=Space Race",
        {"status=500", std::string("header=X-Results: none"), std::string("body=") + results});
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"search.test", "games.test"});

    char output[512] = "";
    EXPECT_EQ(SearchGameLink("Rocket Race", output), 0);
    EXPECT_STREQ(output, "https://games.test/files/Rocket.swf");
    EXPECT_EQ(SearchGameLink("火箭赛车", output), 0);
    EXPECT_STREQ(output, "https://games.test/files/Rocket.swf");
    testing::internal::CaptureStdout();
    EXPECT_EQ(SearchGameLink("Space Race", output), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_STREQ(output, "https://games.test/files/Rocket.swf");

    EXPECT_EQ(web.Count("search.test", "/search?p=Rocket%20Race"), 1);
    // No "**" link on that page: the second marker asks for it anew.
    EXPECT_EQ(web.Count("search.test", "/search?p=%E7%81%AB%E7%AE%AD%E8%B5%9B%E8%BD%A6"), 2);
    EXPECT_EQ(web.Count("search.test", "/search?p=Space%20Race"), 2) << "download, then fetcher";
    EXPECT_EQ(web.Count("games.test", "/rocket.htm"), 3);
  }
  DropWebEnv(env);
}

} // namespace
