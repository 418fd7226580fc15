// The server date query: one request with the fetcher's template and the path
// ".", one receive, the "Date:" token handed to ParseServerDate. The parser
// follows the header's token positions rather than a calendar grammar: the
// starts of the first five tokens must rise, and day, month and year are the
// texts between them.
#include "web/server_date.h"

#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "shell/module_path.h"
#include "shell/settings.h"
#include "web/fetcher.h"

namespace {

const char* const MonthNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The value of the leading decimal digits, wrapping at 32 bits.
std::uint32_t Digits(const std::string& text) {
  std::uint32_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9')
      break;
    value = value * 10 + static_cast<std::uint32_t>(c - '0');
  }
  return value;
}

} // namespace

int ClockHost(char* out) {
  char define[FetchPathSize];
  ModuleFilePath(0, define, "Define.ini");
  char value[ProfileValueSize] = "";
  ProfileRead("Web", "ClockHost", value, define);
  std::snprintf(out, FetchPathSize, "%s", value[0] != '\0' ? value : DefaultClockHost);
  return static_cast<int>(std::strlen(out));
}

std::uint32_t ParseServerDate(const char* text) {
  const char* comma = std::strchr(text, ',');
  std::string s = comma != nullptr ? std::string(comma + 1) : std::string(" ").append(text);
  if (s.empty())
    return 0;
  std::size_t starts[5] = {0, 0, 0, 0, 0};
  int count = 0;
  for (std::size_t i = 0; i + 1 < s.size() && count < 5; ++i)
    if (s[i] == ' ' && s[i + 1] != ' ')
      starts[count++] = i + 1;
  if (count == 4)
    starts[4] = s.size() >= 2 ? s.size() - 2 : 0;
  for (int i = 1; i < 5; ++i)
    if (starts[i] <= starts[i - 1])
      return 0;

  // Token k runs from its start to one character before the next start.
  auto token = [&](int k) { return s.substr(starts[k], starts[k + 1] - starts[k] - 1); };
  std::string year = token(2);
  if (year.size() != 4)
    year = "20" + year;
  std::string monthName = token(1);
  std::uint32_t month = 0;
  for (int m = 0; m < 12; ++m)
    if (strcasecmp(monthName.c_str(), MonthNames[m]) == 0)
      month = static_cast<std::uint32_t>(m + 1);
  if (month == 0)
    return 0;
  std::string day = token(0);
  if (day.size() != 2)
    day = "0" + day;
  return Digits(year) * 10000 + month * 100 + Digits(day.substr(day.size() - 2));
}

std::uint32_t ServerDate(const char* host) {
  int fd = ConnectWebServer(host);
  if (fd < 0)
    return 0;
  std::vector<char> block(FetchBlockSize + 1, '\0');
  int length = std::snprintf(block.data(), FetchBlockSize, RequestTemplate, ".", host);
  if (length < 0 || length >= static_cast<int>(FetchBlockSize)) {
    close(fd);
    return 0;
  }
  send(fd, block.data(), static_cast<std::size_t>(length), MSG_NOSIGNAL);
  WebSleep(300);
  ssize_t got = recv(fd, block.data(), FetchBlockSize, 0);
  close(fd);
  if (got <= 0)
    return 0;
  block[static_cast<std::size_t>(got)] = '\0';
  const void* hit = memmem(block.data(), static_cast<std::size_t>(got), "Date:", 5);
  if (hit == nullptr)
    return 0;
  const char* from = static_cast<const char*>(hit) + 5;
  const char* end = block.data() + got;
  if (from < end && *from == ' ')
    ++from;
  const char* to = from;
  while (to < end && *to != '\r' && *to != '\n')
    ++to;
  return ParseServerDate(std::string(from, to).c_str());
}
