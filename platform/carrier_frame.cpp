// Frame text of the carrier. CarrierFeed cuts the stream at LF and keeps the
// memory of a hostile sender bounded; CarrierParseFrame is strict (exact
// verbs, decimal numbers, exact field counts) so that a half-understood line
// is dropped rather than acted upon.
#include "platform/carrier_frame.h"

#include <sys/socket.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

bool ParseSigned(std::string_view field, long long* out) {
  if (field.empty() || field.size() > 20)
    return false;
  auto [end, ec] = std::from_chars(field.data(), field.data() + field.size(), *out);
  return ec == std::errc() && end == field.data() + field.size();
}

// A wParam: decimal, unsigned up to 64 bits, or negative (a handle
// value such as -1 sent as a number); negatives wrap as the cast would.
bool ParseWParam(std::string_view field, WParam* out) {
  if (!field.empty() && field[0] == '-') {
    long long v = 0;
    if (!ParseSigned(field, &v))
      return false;
    *out = static_cast<WParam>(v);
    return true;
  }
  if (field.empty() || field.size() > 20)
    return false;
  std::uint64_t v = 0;
  auto [end, ec] = std::from_chars(field.data(), field.data() + field.size(), v);
  if (ec != std::errc() || end != field.data() + field.size())
    return false;
  *out = v;
  return true;
}

bool ParseMessage(std::string_view field, unsigned* out) {
  long long v = 0;
  if (!ParseSigned(field, &v) || v < 0 || v > std::numeric_limits<unsigned>::max())
    return false;
  *out = static_cast<unsigned>(v);
  return true;
}

// Splits at single blanks; an empty field (two blanks, leading or trailing
// blank) makes the line malformed.
bool Split(std::string_view line, std::vector<std::string_view>* fields, std::size_t limit) {
  std::size_t start = 0;
  while (true) {
    std::size_t blank = line.find(' ', start);
    std::string_view field = line.substr(
        start, blank == std::string_view::npos ? std::string_view::npos : blank - start);
    if (field.empty() || fields->size() >= limit)
      return false;
    fields->push_back(field);
    if (blank == std::string_view::npos)
      return true;
    start = blank + 1;
  }
}

constexpr std::size_t MaxWindowArgs = 8;

} // namespace

bool CarrierParseFrame(const std::string& input, CarrierFrame* out) {
  std::string_view line(input);
  if (!line.empty() && line.back() == '\r')
    line.remove_suffix(1);
  if (line.size() > CarrierMaxLine)
    return false;
  for (char c : line) {
    unsigned char u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7F)
      return false;
  }
  CarrierFrame f;
  // TEXT keeps its blanks: only the verb and the control are fields.
  if (line.starts_with("TEXT ")) {
    std::string_view rest = line.substr(5);
    std::size_t blank = rest.find(' ');
    std::string_view control = rest.substr(0, blank);
    if (!ParseSigned(control, &f.number))
      return false;
    f.kind = CarrierFrameText;
    if (blank != std::string_view::npos)
      f.text.assign(rest.substr(blank + 1));
    *out = std::move(f);
    return true;
  }
  std::vector<std::string_view> fields;
  if (!Split(line, &fields, 2 + MaxWindowArgs))
    return false;
  std::string_view verb = fields[0];
  if (verb == "HELLO" || verb == "RET") {
    if (fields.size() != 2 || !ParseSigned(fields[1], &f.number))
      return false;
    f.kind = verb == "HELLO" ? CarrierFrameHello : CarrierFrameRet;
  } else if (verb == "POST" || verb == "SEND") {
    long long l = 0;
    if (fields.size() != 4 || !ParseMessage(fields[1], &f.message) ||
        !ParseWParam(fields[2], &f.w) || !ParseSigned(fields[3], &l))
      return false;
    f.l = l;
    f.kind = verb == "POST" ? CarrierFramePost : CarrierFrameSend;
  } else if (verb == "WINDOW") {
    if (fields.size() < 2)
      return false;
    for (char c : fields[1])
      if (c < 'A' || c > 'Z')
        return false;
    f.kind = CarrierFrameWindow;
    f.text.assign(fields[1]);
    for (std::size_t i = 2; i < fields.size(); ++i) {
      long long v = 0;
      if (!ParseSigned(fields[i], &v) || v < std::numeric_limits<long>::min() ||
          v > std::numeric_limits<long>::max())
        return false;
      f.args.push_back(static_cast<long>(v));
    }
  } else {
    return false;
  }
  *out = std::move(f);
  return true;
}

std::string CarrierFormatFrame(const CarrierFrame& f) {
  std::string s;
  switch (f.kind) {
  case CarrierFrameHello:
    s = "HELLO " + std::to_string(f.number);
    break;
  case CarrierFrameRet:
    s = "RET " + std::to_string(f.number);
    break;
  case CarrierFramePost:
  case CarrierFrameSend:
    s = (f.kind == CarrierFramePost ? "POST " : "SEND ") + std::to_string(f.message) + " " +
        std::to_string(f.w) + " " + std::to_string(f.l);
    break;
  case CarrierFrameText:
    s = "TEXT " + std::to_string(f.number) + " ";
    // A text can't carry a line break; control characters become blanks.
    for (char c : f.text) {
      unsigned char u = static_cast<unsigned char>(c);
      s += (u < 0x20 || u == 0x7F) ? ' ' : c;
    }
    break;
  case CarrierFrameWindow:
    s = "WINDOW " + f.text;
    for (long a : f.args)
      s.append(" ").append(std::to_string(a));
    break;
  }
  s += '\n';
  return s;
}

std::string CarrierFormatPost(unsigned message, WParam w, LParam l) {
  CarrierFrame f;
  f.kind = CarrierFramePost;
  f.message = message;
  f.w = w;
  f.l = l;
  return CarrierFormatFrame(f);
}

std::string CarrierFormatSend(unsigned message, WParam w, LParam l) {
  CarrierFrame f;
  f.kind = CarrierFrameSend;
  f.message = message;
  f.w = w;
  f.l = l;
  return CarrierFormatFrame(f);
}

void CarrierFeed(CarrierLineBuffer* b, const char* data, std::size_t size,
                 std::vector<std::string>* lines) {
  std::size_t i = 0;
  while (i < size) {
    const void* hit = std::memchr(data + i, '\n', size - i);
    std::size_t end = hit ? static_cast<const char*>(hit) - data : size;
    if (!b->skipping) {
      std::size_t room = CarrierMaxLine + 1 - b->partial.size(); // +1: a CR may trail
      std::size_t take = end - i;
      if (take > room) {
        b->partial.clear();
        b->skipping = true;
      } else {
        b->partial.append(data + i, take);
      }
    }
    if (!hit)
      break;
    if (!b->skipping)
      lines->push_back(std::move(b->partial));
    b->partial.clear();
    b->skipping = false;
    i = end + 1;
  }
}

bool CarrierDrain(int fd, CarrierLineBuffer* buffer, std::size_t budget,
                  std::vector<std::string>* lines) {
  char chunk[8192];
  std::size_t total = 0;
  while (total < budget) {
    ssize_t n = recv(fd, chunk, sizeof chunk, MSG_DONTWAIT);
    if (n > 0) {
      total += static_cast<std::size_t>(n);
      CarrierFeed(buffer, chunk, static_cast<std::size_t>(n), lines);
      continue;
    }
    if (n < 0 && errno == EINTR)
      continue;
    return n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
  }
  return true;
}
