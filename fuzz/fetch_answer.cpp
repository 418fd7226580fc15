// The fetcher's reading of an answer, fed from a buffer instead of a socket.
// The first two bytes choose how the rest is cut into receives, so the first
// block, the plain blocks and chunk lines fall on every kind of boundary.
// Checks: nothing is written that was not received, the redirect address
// always fits its buffer and ends, and every receive stays within its size.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "web/fetcher.h"

namespace {

struct Feed {
  const std::uint8_t* data;
  std::size_t size;
  std::size_t at;
  std::size_t step;
  std::size_t received;
  std::size_t written;
};

long Receive(void* context, char* buffer, std::size_t size) {
  Feed& feed = *static_cast<Feed*>(context);
  if (feed.at >= feed.size)
    return feed.step % 3 == 0 ? -1 : 0;
  std::size_t n = feed.size - feed.at;
  n = n < feed.step ? n : feed.step;
  n = n < size ? n : size;
  std::memcpy(buffer, feed.data + feed.at, n);
  feed.at += n;
  feed.received += n;
  return static_cast<long>(n);
}

bool Write(void* context, const char*, std::size_t size) {
  Feed& feed = *static_cast<Feed*>(context);
  feed.written += size;
  if (feed.written > feed.received)
    std::abort();
  return true;
}

void NoSleep(unsigned) {}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2)
    return 0;
  SetWebSleepForTests(NoSleep);
  std::size_t step = (static_cast<std::size_t>(data[0]) << 8 | data[1]) % 20000 + 1;
  Feed feed{data + 2, size - 2, 0, step, 0, 0};
  FetchIo io;
  io.context = &feed;
  io.receive = Receive;
  io.write = Write;
  char path[FetchPathSize];
  std::memset(path, 'p', sizeof path);
  path[FetchPathSize - 1] = '\0';
  int result = ReadFetchAnswer(io, path, FetchPathSize);
  if (std::memchr(path, '\0', sizeof path) == nullptr)
    std::abort();
  if (result != FetchDone && result != FetchSeeOther && result != FetchSeeOtherNowhere &&
      result != FetchSeeOtherTooLong)
    std::abort();
  return 0;
}
