// Client connections to the Panel's carrier. The socket is non-blocking:
// writes wait in poll for at most WriteWaitMs, reads wait for the caller's
// time-out. Everything read goes through the queue of the connection, so
// waiting for one kind of frame never loses another.
#include "platform/carrier_client.h"

#include "platform/carrier.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int WriteWaitMs = 3000;
constexpr std::size_t MaxQueued = 4096;

int RemainingMs(Clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

// Reads what is there into the queue. False when the peer closed.
bool Fill(CarrierConnection* c) {
  std::vector<std::string> lines;
  bool open = CarrierDrain(c->fd, &c->in, std::numeric_limits<std::size_t>::max(), &lines);
  for (const std::string& line : lines) {
    CarrierFrame f;
    if (CarrierParseFrame(line, &f) && c->queued.size() < MaxQueued)
      c->queued.push_back(std::move(f));
  }
  return open;
}

// Waits until readable and fills the queue. 1 something came, 0 time-out,
// -1 closed.
int Wait(CarrierConnection* c, int timeoutMs) {
  if (c->fd < 0)
    return -1;
  pollfd p{c->fd, POLLIN, 0};
  int n = poll(&p, 1, timeoutMs);
  if (n < 0)
    return errno == EINTR ? 0 : -1;
  if (n == 0)
    return 0;
  if (!Fill(c)) {
    close(c->fd);
    c->fd = -1;
    return c->queued.empty() ? -1 : 1;
  }
  return 1;
}

// Finds and removes the first queued frame of kind, reading until it comes.
bool Expect(CarrierConnection* c, CarrierFrameKind kind, int timeoutMs, CarrierFrame* out) {
  Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  while (true) {
    for (auto it = c->queued.begin(); it != c->queued.end(); ++it)
      if (it->kind == kind) {
        *out = std::move(*it);
        c->queued.erase(it);
        return true;
      }
    int left = RemainingMs(deadline);
    if (left == 0 || Wait(c, left) < 0)
      return false;
  }
}

} // namespace

bool CarrierConnect(CarrierConnection* c, const std::string& pathIn, std::string* error) {
  CarrierDisconnect(c);
  std::string path = pathIn.empty() ? CarrierSocketPath() : pathIn;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    if (error)
      *error = "socket path too long";
    return false;
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  std::string why;
  if (!CarrierPathTrusted(path, &why)) {
    if (error)
      *error = "won't use the socket " + path + ": " + why;
    return false;
  }
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    if (error)
      *error = "can't reach the Panel at " + path + ": " + std::strerror(errno);
    if (fd >= 0)
      close(fd);
    return false;
  }
  c->fd = fd;
  return true;
}

void CarrierDisconnect(CarrierConnection* c) {
  if (c->fd >= 0)
    close(c->fd);
  c->fd = -1;
  c->in = CarrierLineBuffer{};
  c->queued.clear();
}

bool CarrierClientWriteRaw(CarrierConnection* c, const std::string& bytes) {
  std::size_t done = 0;
  Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(WriteWaitMs);
  while (done < bytes.size()) {
    if (c->fd < 0)
      return false;
    ssize_t n = send(c->fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      done += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      int left = RemainingMs(deadline);
      pollfd p{c->fd, POLLOUT, 0};
      if (left == 0 || poll(&p, 1, left) <= 0)
        return false;
      continue;
    }
    return false;
  }
  return true;
}

bool CarrierClientHello(CarrierConnection* c, int pid, int timeoutMs, long long* nativeWindow) {
  CarrierFrame f;
  f.kind = CarrierFrameHello;
  f.number = pid;
  if (!CarrierClientWriteRaw(c, CarrierFormatFrame(f)))
    return false;
  CarrierFrame answer;
  if (!Expect(c, CarrierFrameHello, timeoutMs, &answer))
    return false;
  if (nativeWindow)
    *nativeWindow = answer.number;
  return true;
}

bool CarrierClientPost(CarrierConnection* c, unsigned message, WParam w, LParam l) {
  return CarrierClientWriteRaw(c, CarrierFormatPost(message, w, l));
}

bool CarrierClientText(CarrierConnection* c, int control, const std::string& text) {
  CarrierFrame f;
  f.kind = CarrierFrameText;
  f.number = control;
  f.text = text.size() > CarrierMaxLine - 32 ? text.substr(0, CarrierMaxLine - 32) : text;
  return CarrierClientWriteRaw(c, CarrierFormatFrame(f));
}

bool CarrierClientWindow(CarrierConnection* c, const std::string& op,
                         const std::vector<long>& args) {
  CarrierFrame f;
  f.kind = CarrierFrameWindow;
  f.text = op;
  f.args = args;
  return CarrierClientWriteRaw(c, CarrierFormatFrame(f));
}

bool CarrierClientReply(CarrierConnection* c, LResult result) {
  return CarrierClientWriteRaw(c, "RET " + std::to_string(result) + "\n");
}

bool CarrierClientSend(CarrierConnection* c, unsigned message, WParam w, LParam l, int timeoutMs,
                       LResult* result) {
  if (!CarrierClientWriteRaw(c, CarrierFormatSend(message, w, l)))
    return false;
  CarrierFrame answer;
  if (!Expect(c, CarrierFrameRet, timeoutMs, &answer))
    return false;
  if (result)
    *result = answer.number;
  return true;
}

int CarrierClientRead(CarrierConnection* c, CarrierFrame* out, int timeoutMs) {
  Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  while (true) {
    if (!c->queued.empty()) {
      *out = std::move(c->queued.front());
      c->queued.pop_front();
      return 1;
    }
    int left = RemainingMs(deadline);
    int got = Wait(c, left);
    if (got < 0)
      return -1;
    if (got == 0 && RemainingMs(deadline) == 0)
      return 0;
  }
}
