// The HTTP fetcher: its reading of every kind of answer, fed block by block
// from memory (each block one receive), and its requests and time-out on the
// test web. Its failures are in the failure table of url_download_test.cpp.
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
  std::vector<std::string> blocks;
  bool holdOpen = false; // after the blocks: a time-out rather than a close
  std::size_t at = 0;
  std::string written;
};

long Receive(void* context, char* buffer, std::size_t size) {
  Feed& feed = *static_cast<Feed*>(context);
  if (feed.at >= feed.blocks.size())
    return feed.holdOpen ? -1 : 0;
  std::string& block = feed.blocks[feed.at];
  std::size_t n = std::min(size, block.size());
  std::memcpy(buffer, block.data(), n);
  if (n == block.size())
    ++feed.at;
  else
    block.erase(0, n);
  return static_cast<long>(n);
}

bool Write(void* context, const char* data, std::size_t size) {
  static_cast<Feed*>(context)->written.append(data, size);
  return true;
}

TEST(ReadFetchAnswer, ReadsEachKindOfAnswer) {
  SetWebSleepForTests([](unsigned) {});
  // H: a plain head; C: a chunked head; N: a head with no length.
  const std::string H = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n";
  const std::string C = H + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string N = "HTTP/1.0 200 OK\r\nServer: test\r\n\r\n";
  const std::string big(20000, 'x');
  struct Row {
    const char* name;
    std::string blocks; // the receives, split at '|'
    bool holdOpen;
    int result;
    std::string written;
    std::string path = "p"; // the redirect buffer afterwards
  };
  const Row rows[] = {
      {"plain length", H + "Content-Length: 11\r\n\r\nhello world", false, 0, "hello world"},
      {"length below the body", H + "Content-Length: 5\r\n\r\nhello world", false, 0, "hello"},
      {"head alone in the first block", H + "Content-Length: 11\r\n\r\n|hello world", false, 0, ""},
      {"chunks, line held open", C + "5\r\nhello\r\n|6\r\n world\r\n|0\r\n\r\n", true, 0,
       "hello world"},
      {"a bad next size ends it", C + "5\r\nhello\r\nzz\r\nnot this", true, 0, "hello"},
      {"a chunk over one block", C + "4e20\r\n" + big + "|\r\n3\r\nend\r\n0\r\n\r\n", true, 0,
       big + "end"},
      {"no length, ended by 0 CRLF CRLF", N + "first part| last0\r\n\r\n", true, 0,
       N + "first part last0\r\n\r\n"},
      {"Content-Length: in a chunked page", C + "14\r\nContent-Length: 3 ab\r\n0\r\n\r\n", true, 0,
       "14\r"},
      {"303 in the status line",
       "HTTP/1.1 303 See Other\r\nLocation: http://o.test/n?a=1\r\nContent-Length: 0\r\n\r\n",
       false, FetchSeeOther, "", "http://o.test/n?a=1"},
      {"303 only in the page",
       H + "Content-Length: 60\r\n\r\n<p>303 See Other</p>Location:\thttp://b.test/x\r\n", false,
       FetchSeeOther, "", "http://b.test/x"},
      {"Location too long",
       "HTTP/1.1 303 See Other\r\nLocation: http://c.test/" + std::string(600, 'a') + "\r\n\r\n",
       false, FetchSeeOtherTooLong, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Feed feed;
    for (std::size_t at = 0, bar; at <= row.blocks.size(); at = bar + 1) {
      bar = std::min(row.blocks.find('|', at), row.blocks.size());
      feed.blocks.push_back(row.blocks.substr(at, bar - at));
    }
    feed.holdOpen = row.holdOpen;
    FetchIo io;
    io.context = &feed;
    io.receive = Receive;
    io.write = Write;
    char path[FetchPathSize] = "p";
    EXPECT_EQ(ReadFetchAnswer(io, path, sizeof path), row.result);
    EXPECT_EQ(feed.written, row.written);
    EXPECT_EQ(std::string(path), row.path);
  }
  SetWebSleepForTests(nullptr);
}

TEST(FetchToFile, AsksByTheTemplateAndGivesUpOnASilentServer) {
  WebEnv env = MakeWebEnv();
  {
    TestWeb web;
    web.Answer("site.test", "*", {"body=x"});
    web.Answer("silent.test", "*", {"delay=5000", "body=never"});
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"site.test", "silent.test"});
    struct Row {
      const char *url, *target, *body;
    } rows[] = {
        {"http://site.test/dir/page.htm?x=1", "/dir/page.htm?x=1", "x"},
        {"site.test/a/b", "/a/b", "x"}, // no double slash: host and path as they stand
        {"http://site.test", "/", "x"},
        {"http://silent.test/p", "/p", ""}, // given up after the 2 s of FetchTimeout
    };
    std::string out = env.File("out");
    WriteWhole(out, "old text");
    chmod(out.c_str(), 0444); // replaced all the same
    for (const Row& row : rows) {
      SCOPED_TRACE(row.url);
      char path[FetchPathSize];
      std::snprintf(path, sizeof path, "%s", out.c_str());
      auto start = std::chrono::steady_clock::now();
      testing::internal::CaptureStdout();
      EXPECT_EQ(FetchToFile(row.url, path), FetchDone);
      testing::internal::GetCapturedStdout();
      EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4500));
      EXPECT_EQ(ReadWhole(out), row.body);
      ASSERT_FALSE(web.Requests().empty());
      EXPECT_EQ(web.Requests().back().target, row.target);
    }
  }
  DropWebEnv(env);
}

TEST(ParseChunkSize, ReadsHexLines) {
  const std::pair<const char*, std::uint32_t> rows[] = {
      {"1A\r\n", 26},           {"0\r\n", 0},     {"fFfF", 0xFFFF}, {"", 0xFFFFFFFF},
      {"10;ext=1", 0xFFFFFFFF}, {"100000001", 1}, // wraps at 32 bits
  };
  for (const auto& [text, value] : rows)
    EXPECT_EQ(ParseChunkSize(text), value) << text;
}

} // namespace
