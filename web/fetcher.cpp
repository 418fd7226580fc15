// The HTTP fetcher. FetchToFile splits the address, connects (ConnectWebServer,
// shared with the server date query), prepares the file only then, sends the
// request and hands the socket to ReadFetchAnswer. That half reads the first
// block and decides by what it holds, in a fixed order: a 303 report, a plain
// length, a chunked body, or an answer of unknown length; it knows the socket
// only as a FetchIo, so tests and fuzzers drive it from memory.
//
// The pacing sleeps go through WebSleep so tests can shorten them. Receives
// and sends carry the web time-out, so a server that neither sends nor closes
// ends the transfer as an error would.
#include "web/fetcher.h"

#include "platform/files.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/hosts.h"
#include "platform/url_download.h"
#include "shell/module_path.h"
#include "shell/settings.h"

const char RequestTemplate[] = "GET %s HTTP/1.1\r\nContent-type: text/html\r\nHost: %s\r\nAccept: "
                               "text/html, */*\r\nUser-Agent: GetHTTP/1.0\r\nConnection: "
                               "Keep-Alive\r\n\r\n";

namespace {

constexpr std::size_t HostSize = 512;
constexpr std::size_t MaxChunkLine = 64;
constexpr int DefaultTimeoutSeconds = 60;

void RealSleep(unsigned milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::atomic<void (*)(unsigned)> sleepHook{RealSleep};

long Find(const char* block, long length, const char* text, long from = 0) {
  std::size_t textLength = std::strlen(text);
  if (from < 0 || length - from < static_cast<long>(textLength))
    return -1;
  const void* hit = memmem(block + from, static_cast<std::size_t>(length - from), text, textLength);
  return hit == nullptr ? -1 : static_cast<const char*>(hit) - block;
}

bool IsOneOf(char c, const char* set) {
  return c != '\0' && std::strchr(set, c) != nullptr;
}

std::uint32_t ReadDecimal(const char* text, long length) {
  std::uint64_t value = 0;
  for (long i = 0; i < length && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = value * 10 + static_cast<unsigned>(text[i] - '0');
    if (value > 0xFFFFFFFFu)
      return 0xFFFFFFFFu;
  }
  return static_cast<std::uint32_t>(value);
}

struct Answer {
  const FetchIo& io;
  char* block; // FetchBlockSize + 1 bytes
  long receive(std::size_t size) {
    long got = io.receive(io.context, block, size);
    return got > static_cast<long>(size) ? -1 : got;
  }
  void write(const char* data, std::size_t size) {
    if (size > 0)
      io.write(io.context, data, size);
  }
};

// Plain blocks: the body behind a length, or everything until the peer
// closes or a short block ends in "0\r\n\r\n".
void ReadLoop(Answer& answer, long firstOffset, long firstLength, std::uint32_t remaining) {
  bool haveFirst = firstLength > 0;
  for (;;) {
    WebSleep(300);
    const char* data = answer.block;
    long got;
    if (haveFirst) {
      data = answer.block + firstOffset;
      got = firstLength;
      haveFirst = false;
    } else {
      got = answer.receive(std::min<std::size_t>(remaining, FetchBlockSize));
      if (got >= 5 && got < static_cast<long>(FetchBlockSize) &&
          std::memcmp(answer.block + got - 5, "0\r\n\r\n", 5) == 0)
        remaining = static_cast<std::uint32_t>(got);
    }
    if (got < 0)
      return;
    if (static_cast<std::uint32_t>(got) < remaining) {
      answer.write(data, static_cast<std::size_t>(got));
      remaining -= static_cast<std::uint32_t>(got);
    } else {
      answer.write(data, remaining);
      return;
    }
    if (got == 0)
      return;
  }
}

// Bytes received but not yet used, in the answer's block.
struct Pending {
  long at = 0;
  long end = 0;
  long size() const { return end - at; }
};

// One line up to LF, CR dropped, at most MaxChunkLine characters. False when
// the peer closed or failed first, or the line is too long to be a size.
bool ReadChunkLine(Answer& answer, Pending& pending, char* line) {
  std::size_t length = 0;
  for (;;) {
    if (pending.size() == 0) {
      long got = answer.receive(FetchBlockSize);
      if (got <= 0)
        return false;
      pending = Pending{0, got};
    }
    char c = answer.block[pending.at++];
    if (c == '\n') {
      line[length] = '\0';
      return true;
    }
    if (c == '\r')
      continue;
    if (length == MaxChunkLine)
      return false;
    line[length++] = c;
  }
}

void ReadChunks(Answer& answer, long blockLength, long lineStart, std::uint32_t size) {
  const void* lf = std::memchr(answer.block + lineStart, '\n',
                               static_cast<std::size_t>(blockLength - lineStart));
  long dataStart = lf == nullptr ? blockLength : static_cast<const char*>(lf) - answer.block + 1;
  if (dataStart < blockLength && answer.block[dataStart] == '\r')
    ++dataStart;
  Pending pending{dataStart, blockLength};
  std::uint32_t rest = size;
  char line[MaxChunkLine + 1];
  while (rest > 0) {
    while (rest > 0) {
      if (pending.size() > 0) {
        std::uint32_t take =
            std::min<std::uint32_t>(rest, static_cast<std::uint32_t>(pending.size()));
        answer.write(answer.block + pending.at, take);
        pending.at += take;
        rest -= take;
        continue;
      }
      long got = answer.receive(std::min<std::size_t>(rest, FetchBlockSize));
      if (got <= 0)
        return;
      answer.write(answer.block, static_cast<std::size_t>(got));
      rest -= static_cast<std::uint32_t>(got);
    }
    // The chunk's closing CR LF, then the line with the next size.
    if (!ReadChunkLine(answer, pending, line))
      return;
    if (line[0] == '\0' && !ReadChunkLine(answer, pending, line))
      return;
    rest = ParseChunkSize(line);
    if (rest == ChunkSizeInvalid)
      return;
  }
}

struct SocketFile {
  int socket;
  int file;
  std::uint64_t room; // body bytes still to keep
};

long SocketReceive(void* context, char* buffer, std::size_t size) {
  const SocketFile& ends = *static_cast<SocketFile*>(context);
  if (ends.room == 0)
    return 0; // kept all it may: ended like a closed connection
  int fd = ends.socket;
  for (;;) {
    ssize_t got = recv(fd, buffer, size, 0);
    if (got < 0 && errno == EINTR)
      continue;
    return static_cast<long>(got);
  }
}

bool FileWrite(void* context, const char* data, std::size_t size) {
  SocketFile& ends = *static_cast<SocketFile*>(context);
  std::size_t kept = size < ends.room ? size : static_cast<std::size_t>(ends.room);
  ends.room -= kept;
  return WriteAll(ends.file, data, kept);
}

} // namespace

void SetWebSleepForTests(void (*sleep)(unsigned milliseconds)) {
  sleepHook.store(sleep != nullptr ? sleep : RealSleep);
}

void WebSleep(unsigned milliseconds) {
  sleepHook.load()(milliseconds);
}

int WebTimeoutSeconds() {
  char define[FetchPathSize];
  ModuleFilePath(0, define, "Define.ini");
  char value[ProfileValueSize] = "";
  ProfileRead("Web", "FetchTimeout", value, define);
  char* end = nullptr;
  long seconds = std::strtol(value, &end, 10);
  if (end == value || seconds <= 0 || seconds > 86400)
    return DefaultTimeoutSeconds;
  return static_cast<int>(seconds);
}

std::uint32_t ParseChunkSize(const char* text) {
  if (text[0] == '\0' || text[0] == '\r' || text[0] == '\n')
    return ChunkSizeInvalid;
  std::uint32_t value = 0;
  for (const char* p = text; *p != '\0' && *p != '\r' && *p != '\n'; ++p) {
    char c = *p;
    std::uint32_t digit;
    if (c >= '0' && c <= '9')
      digit = static_cast<std::uint32_t>(c - '0');
    else if (c >= 'a' && c <= 'f')
      digit = static_cast<std::uint32_t>(c - 'a' + 10);
    else if (c >= 'A' && c <= 'F')
      digit = static_cast<std::uint32_t>(c - 'A' + 10);
    else
      return ChunkSizeInvalid;
    value = value * 16 + digit;
  }
  return value;
}

int ReadFetchAnswer(const FetchIo& io, char* path, std::size_t pathSize) {
  std::vector<char> buffer(FetchBlockSize + 1, '\0');
  Answer answer{io, buffer.data()};
  long n = answer.receive(FetchBlockSize);
  long length = n > 0 ? n : 0;
  answer.block[length] = '\0';
  const char* block = answer.block;

  if (Find(block, length, "303 See Other") >= 0) {
    long location = Find(block, length, "Location:");
    if (location < 0)
      return FetchSeeOtherNowhere;
    long from = location + 9;
    while (from < length && (block[from] == ' ' || block[from] == '\t'))
      ++from;
    long to = from;
    while (to < length && !IsOneOf(block[to], " \t\r\n"))
      ++to;
    if (to == from)
      return FetchSeeOtherNowhere;
    if (static_cast<std::size_t>(to - from) >= pathSize)
      return FetchSeeOtherTooLong;
    std::memcpy(path, block + from, static_cast<std::size_t>(to - from));
    path[to - from] = '\0';
    return FetchSeeOther;
  }

  long bodyMark = Find(block, length, "\r\n\r\n");
  long contentLength = Find(block, length, "Content-Length:");
  if (contentLength >= 0) {
    long from = contentLength + 15;
    while (from < length && IsOneOf(block[from], " /\t\r\n"))
      ++from;
    long to = from;
    while (to < length && !IsOneOf(block[to], " /\t\r\n"))
      ++to;
    std::uint32_t remaining = ReadDecimal(block + from, to - from);
    long bodyLength = bodyMark < 0 ? 0 : length - (bodyMark + 4);
    if (bodyLength > 0)
      ReadLoop(answer, bodyMark + 4, bodyLength, remaining);
    return FetchDone;
  }
  if (bodyMark >= 0) {
    std::uint32_t size = ParseChunkSize(block + bodyMark + 4);
    if (size != ChunkSizeInvalid) {
      ReadChunks(answer, length, bodyMark + 4, size);
      return FetchDone;
    }
  }
  if (n > 0) {
    answer.write(block, static_cast<std::size_t>(length));
    ReadLoop(answer, 0, 0, FetchUnknownLength);
  }
  return FetchDone;
}

int ConnectWebServer(const char* host) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0)
    return -FetchNoConnection;
  if (fd > 0) {
    std::printf("The Socket was created\n");
    std::fflush(stdout);
  }
  // Where to: the hosts table (whose port replaces 80), else the resolver.
  sockaddr_storage address{};
  socklen_t addressLength = sizeof(sockaddr_in);
  auto* v4 = reinterpret_cast<sockaddr_in*>(&address);
  auto* v6 = reinterpret_cast<sockaddr_in6*>(&address);
  v4->sin_family = AF_INET;
  v4->sin_port = htons(80);
  HostEntry listed;
  if (LookupHost(host, listed)) {
    unsigned short port = htons(static_cast<unsigned short>(listed.port != 0 ? listed.port : 80));
    if (listed.ipv6) {
      v6->sin6_family = AF_INET6;
      v6->sin6_port = port;
      inet_pton(AF_INET6, listed.address.c_str(), &v6->sin6_addr);
      addressLength = sizeof(sockaddr_in6);
    } else {
      v4->sin_port = port;
      inet_pton(AF_INET, listed.address.c_str(), &v4->sin_addr);
    }
  } else {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (*host == '\0' || getaddrinfo(host, nullptr, &hints, &found) != 0 || found == nullptr) {
      close(fd);
      return -FetchNoHost;
    }
    v4->sin_addr = reinterpret_cast<sockaddr_in*>(found->ai_addr)->sin_addr;
    freeaddrinfo(found);
  }
  if (address.ss_family == AF_INET6) {
    close(fd);
    fd = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
      return -FetchNoConnection;
  }
  timeval timeout{};
  timeout.tv_sec = WebTimeoutSeconds();
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), addressLength) != 0) {
    close(fd);
    return -FetchNoConnection;
  }
  char dotted[INET6_ADDRSTRLEN] = "";
  if (address.ss_family == AF_INET6)
    inet_ntop(AF_INET6, &v6->sin6_addr, dotted, sizeof dotted);
  else
    inet_ntop(AF_INET, &v4->sin_addr, dotted, sizeof dotted);
  std::printf("The connection was accepted with the server %s...\n", dotted);
  std::fflush(stdout);
  return fd;
}

int FetchToFile(const char* url, char* path) {
  return FetchToFileUpTo(url, path, UINT64_MAX);
}

int FetchToFileUpTo(const char* url, char* path, std::uint64_t maxBytes) {
  // Host and path: behind a "//" if one follows the first slash, split at the
  // next slash; an address with nothing behind the host asks for "/".
  const char* work = url;
  if (const char* slash = std::strchr(url, '/'); slash != nullptr && slash[1] == '/')
    work = slash + 2;
  char host[HostSize];
  char target[HostSize];
  const char* pathStart = std::strchr(work, '/');
  std::size_t hostLength =
      pathStart != nullptr ? static_cast<std::size_t>(pathStart - work) : std::strlen(work);
  hostLength = std::min(hostLength, HostSize - 1);
  std::memcpy(host, work, hostLength);
  host[hostLength] = '\0';
  std::snprintf(target, sizeof target, "%s", pathStart != nullptr ? pathStart : "/");
  // The path goes out as a browser sends it: blanks and bytes from 128 on
  // escaped, or the server refuses the request line.
  std::string escaped = EscapeUrlForRequest(target);

  int fd = ConnectWebServer(host);
  if (fd < 0)
    return -fd;

  // The file is prepared only now, so a failed lookup or connection leaves it.
  unlink(path);
  int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (file < 0) {
    close(fd);
    return FetchDone;
  }

  std::vector<char> request(FetchBlockSize);
  int requestLength =
      std::snprintf(request.data(), request.size(), RequestTemplate, escaped.c_str(), host);
  requestLength = std::min(requestLength, static_cast<int>(request.size()) - 1);
  send(fd, request.data(), static_cast<std::size_t>(requestLength), MSG_NOSIGNAL);
  WebSleep(300);

  SocketFile ends{fd, file, maxBytes};
  FetchIo io;
  io.context = &ends;
  io.receive = SocketReceive;
  io.write = FileWrite;
  int result = ReadFetchAnswer(io, path, FetchPathSize);
  close(file);
  close(fd);
  return result;
}
