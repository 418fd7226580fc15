// The HTTP fetcher's reading of every kind of answer, fed from memory one receive per block,
// and its requests and time-out on the test web; its failures are in url_download_test.cpp.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"
#include "web/fetcher.h"

namespace {

struct Feed {
  std::vector<std::string> blocks; // then a time-out, not a close: answers must end themselves
  std::size_t at = 0;
  std::string written;
};

long Receive(void* context, char* buffer, std::size_t size) {
  Feed& feed = *static_cast<Feed*>(context);
  if (feed.at >= feed.blocks.size())
    return -1;
  std::string& block = feed.blocks[feed.at];
  std::size_t n = std::min(size, block.size());
  std::memcpy(buffer, block.data(), n);
  n == block.size() ? void(++feed.at) : void(block.erase(0, n));
  return static_cast<long>(n);
}

TEST(ReadFetchAnswer, ReadsEachKindOfAnswer) {
  SetWebSleepForTests([](unsigned) {});
  const std::string H = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n";
  const std::string C = H + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string N = "HTTP/1.0 200 OK\r\nServer: test\r\n\r\n";
  const std::string S = "HTTP/1.1 303 See Other\r\nLocation: http://";
  const std::string big(20000, 'x');
  struct Row {
    std::string blocks; // the receives, split at '|'
    int result;
    std::string written;
    std::string path = "p"; // the redirect buffer afterwards
  };
  const Row rows[] = {
      {H + "Content-Length: 5\r\n\r\nhello world", 0, "hello"},
      {H + "Content-Length: 11\r\n\r\n|hello world", 0, ""},
      {C + "5\r\nhello\r\n|6\r\n world\r\n|0\r\n\r\n", 0, "hello world"},
      {C + "5\r\nhello\r\nzz\r\nnot this", 0, "hello"},
      {C + "4e20\r\n" + big + "|\r\n3\r\nend\r\n0\r\n\r\n", 0, big + "end"},
      {N + "first part| last0\r\n\r\n", 0, N + "first part last0\r\n\r\n"},
      {C + "14\r\nContent-Length: 3 ab\r\n0\r\n\r\n", 0, "14\r"},
      {S + "o.test/n?a=1\r\nContent-Length: 0\r\n\r\n", FetchSeeOther, "", "http://o.test/n?a=1"},
      {H + "Content-Length: 60\r\n\r\n<p>303 See Other</p>Location:\thttp://b.test/x\r\n",
       FetchSeeOther, "", "http://b.test/x"},
      {S + std::string(600, 'a') + "\r\n\r\n", FetchSeeOtherTooLong, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.blocks.substr(0, 80));
    Feed feed;
    for (std::size_t at = 0, bar; at <= row.blocks.size(); at = bar + 1) {
      bar = std::min(row.blocks.find('|', at), row.blocks.size());
      feed.blocks.push_back(row.blocks.substr(at, bar - at));
    }
    FetchIo io{
        .context = &feed, .receive = Receive, .write = [](void* c, const char* d, std::size_t n) {
          static_cast<Feed*>(c)->written.append(d, n);
          return true;
        }};
    char path[FetchPathSize] = "p";
    EXPECT_EQ(ReadFetchAnswer(io, path, sizeof path), row.result);
    EXPECT_EQ(feed.written, row.written);
    EXPECT_EQ(std::string(path), row.path);
  }
  const std::pair<const char*, std::uint32_t> sizes[] = {
      {"1A\r\n", 26}, {"", 0xFFFFFFFF}, {"10;ext=1", 0xFFFFFFFF}, {"100000001", 1}};
  for (const auto& [text, value] : sizes)
    EXPECT_EQ(ParseChunkSize(text), value) << text;
  SetWebSleepForTests(nullptr);
}

TEST(FetchToFile, AsksByTheTemplateAndGivesUpOnASilentServer) {
  WebEnv env = MakeWebEnv();
  TestWeb web;
  web.Answer("site.test", "*", {"body=x"});
  web.Answer("silent.test", "*", {"delay=5000", "body=never"});
  web.Answer("endless.test", "*", {"status=500", "body=0123456789", "repeat=0", "nolength"});
  ASSERT_TRUE(web.Start());
  web.WriteHosts(env.root / "system", {"site.test", "silent.test", "endless.test"});
  const char* rows[][3] = {
      {"http://site.test/dir/page.htm?x=1", "/dir/page.htm?x=1", "x"},
      {"site.test/a/b", "/a/b", "x"},     // no double slash: host and path as they stand
      {"http://silent.test/p", "/p", ""}, // given up after the 2 s of FetchTimeout
  };
  std::string out = env.File("out");
  WriteWhole(out, "old text");
  chmod(out.c_str(), 0444); // replaced all the same
  for (const auto& [url, target, body] : rows) {
    SCOPED_TRACE(url);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(FetchInto(url, out), FetchDone);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4500));
    EXPECT_EQ(ReadWhole(out), body);
    ASSERT_FALSE(web.Requests().empty());
    EXPECT_EQ(web.Requests().back().target, target);
  }
  // An answer without end is kept only up to what the caller asked for.
  EXPECT_EQ(FetchInto("http://endless.test/page", out, 65535), FetchDone);
  EXPECT_EQ(ReadWhole(out).size(), 65535u);
  web.Stop();
  DropWebEnv(env);
}

} // namespace
