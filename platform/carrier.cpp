// The Panel's side of the carrier: a Unix stream socket in a 0700 folder,
// one non-blocking connection per client, frames cut by CarrierFeed.
//
// How the pieces fit:
//   - I/O (accept, read, write) happens under one recursive lock, from the
//     servicing thread (CarrierService, CarrierPoll, CarrierWaitForClient) or
//     from any thread that posts or sends to a Pane.
//   - Reading never runs a handler. Frames for the Panel go to a queue;
//     only CarrierService and CarrierPoll empty it, on the servicing thread,
//     with the lock released, so a handler may post or send to Panes and may
//     wait for a client itself. An eventfd in the host's epoll set makes the
//     host come back while the queue holds frames read during a wait.
//   - HELLO and RET are answered or recorded at once, by the reader: a Pane
//     that is launched during a wait still gets its HELLO answered, and a RET
//     ends the wait of the thread that sent.
//   - A Pane handle is the number a client announced with POST 1044..1054,
//     cut to 16 bits; it is live while that connection stays open.
//   - A client that sends over-long lines loses those lines; one that stops
//     reading is dropped when its outgoing buffer passes OutgoingLimit.
//   - Idle clients can't hold the places: one that hasn't said HELLO within
//     HelloWithinMs is dropped (a timer in the event set wakes the host for
//     it), and when every place is taken a newcomer is still let in, in the
//     place of the oldest client that announced no Pane (one without HELLO
//     first). So a starting Pane always gets in.
#include "platform/carrier.h"

#include "platform/carrier_frame.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t OutgoingLimit = 256 * 1024; // bytes queued to one client
constexpr std::size_t ReadBudget = 64 * 1024;     // bytes read per client per turn
constexpr std::size_t MaxClients = 64;
constexpr std::size_t MaxPending = 4096; // frames waiting for the Panel
constexpr std::size_t RememberedPids = 256;
constexpr int HelloWithinMs = 5000;

struct Client {
  int fd = -1;
  int id = 0; // serial number, never reused; survives the fd being reused
  int pid = 0;
  bool hello = false;
  Clock::time_point since; // accepted
  Hwnd pane = 0;           // announced handle, 0 while none
  CarrierLineBuffer in;
  std::string out;
  bool watchingOut = false;
  // SEND waits: RETs still owed for sends that timed out are thrown away.
  int staleRets = 0;
  bool haveRet = false;
  LResult ret = 0;
};

struct Pending {
  int client = 0;
  CarrierFrame frame;
};

struct Server {
  std::recursive_mutex lock;
  bool listening = false;
  int listenFd = -1;
  int epollFd = -1;
  int wakeFd = -1;
  int timerFd = -1; // armed while a client owes its HELLO
  bool timerArmed = false;
  int lockFd = -1;
  std::string path;
  ino_t socketInode = 0;
  CarrierHandlers handlers{};
  std::vector<std::unique_ptr<Client>> clients;
  std::deque<Pending> pending;
  std::deque<int> helloPids;
  int nextId = 1;
};

Server& S() {
  static Server server;
  return server;
}

int RemainingMs(Clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

Client* FindById(int id) {
  for (auto& c : S().clients)
    if (c->id == id)
      return c.get();
  return nullptr;
}

Client* FindByFd(int fd) {
  for (auto& c : S().clients)
    if (c->fd == fd)
      return c.get();
  return nullptr;
}

Client* FindByPane(Hwnd pane) {
  if (pane == 0 || pane > 0xFFFF)
    return nullptr;
  for (auto& c : S().clients)
    if (c->pane == pane)
      return c.get();
  return nullptr;
}

void Wake() {
  if (S().wakeFd >= 0) {
    std::uint64_t one = 1;
    (void)!write(S().wakeFd, &one, sizeof one);
  }
}

void SetWatch(Client* c) {
  bool want = !c->out.empty();
  if (want == c->watchingOut || S().epollFd < 0)
    return;
  epoll_event ev{};
  ev.events = want ? (EPOLLIN | EPOLLOUT) : EPOLLIN;
  ev.data.fd = c->fd;
  epoll_ctl(S().epollFd, EPOLL_CTL_MOD, c->fd, &ev);
  c->watchingOut = want;
}

void Drop(Client* c) {
  Server& s = S();
  if (s.epollFd >= 0)
    epoll_ctl(s.epollFd, EPOLL_CTL_DEL, c->fd, nullptr);
  close(c->fd);
  for (auto it = s.clients.begin(); it != s.clients.end(); ++it)
    if (it->get() == c) {
      s.clients.erase(it);
      break;
    }
}

// Writes what the socket takes now. False when the client was dropped.
bool Flush(Client* c) {
  while (!c->out.empty()) {
    ssize_t n = send(c->fd, c->out.data(), c->out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      c->out.erase(0, static_cast<std::size_t>(n));
      continue;
    }
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
      break;
    Drop(c);
    return false;
  }
  SetWatch(c);
  return true;
}

// Queues a line to a client. False when the client is gone or was dropped
// for not reading.
bool Write(Client* c, const std::string& line) {
  if (c->out.size() + line.size() > OutgoingLimit) {
    Drop(c);
    return false;
  }
  c->out += line;
  return Flush(c);
}

void RememberHello(int pid) {
  Server& s = S();
  s.helloPids.push_back(pid);
  if (s.helloPids.size() > RememberedPids)
    s.helloPids.pop_front();
}

// Acts on one line from a client: HELLO and RET at once, everything else to
// the queue. False when the client was dropped meanwhile.
bool Take(Client* c, const std::string& line) {
  Server& s = S();
  CarrierFrame f;
  if (!CarrierParseFrame(line, &f))
    return true;
  switch (f.kind) {
  case CarrierFrameHello: {
    c->hello = true;
    if (f.number > 0 && f.number <= 0x7FFFFFFF) {
      c->pid = static_cast<int>(f.number);
      RememberHello(c->pid);
    }
    CarrierFrame answer;
    answer.kind = CarrierFrameHello;
    answer.number = s.handlers.nativeWindow ? s.handlers.nativeWindow() : 0;
    return Write(c, CarrierFormatFrame(answer));
  }
  case CarrierFrameRet:
    if (c->staleRets > 0) {
      --c->staleRets;
    } else {
      c->haveRet = true;
      c->ret = f.number;
    }
    return true;
  case CarrierFramePost:
    if (f.message >= MsgAnnounceFirst && f.message <= MsgAnnounceLast) {
      Hwnd pane = static_cast<Hwnd>(f.w & 0xFFFF);
      // The latest announcement owns the handle, as a slot holds the latest.
      for (auto& other : s.clients)
        if (other->pane == pane)
          other->pane = 0;
      c->pane = pane;
    }
    break;
  default:
    break;
  }
  if (s.pending.size() >= MaxPending) {
    // A flood the Panel can't keep up with: a SEND still gets its RET.
    if (f.kind == CarrierFrameSend)
      return Write(c, "RET 0\n");
    return true;
  }
  s.pending.push_back(Pending{c->id, std::move(f)});
  Wake();
  return true;
}

// Reads what is there (up to ReadBudget) and takes every whole line.
void ReadClient(Client* c) {
  std::vector<std::string> lines;
  bool closed = !CarrierDrain(c->fd, &c->in, ReadBudget, &lines);
  int id = c->id;
  for (const std::string& line : lines)
    if (!Take(c, line))
      return;
  if (closed && FindById(id) == c)
    Drop(c);
}

void ArmTimer(bool on) {
  Server& s = S();
  if (s.timerFd < 0 || on == s.timerArmed)
    return;
  itimerspec every{};
  if (on)
    every.it_interval.tv_sec = every.it_value.tv_sec = 1;
  timerfd_settime(s.timerFd, 0, &every, nullptr);
  s.timerArmed = on;
}

// Drops the clients whose HELLO is overdue; the timer runs while any owes it.
void DropSilent() {
  Server& s = S();
  Clock::time_point now = Clock::now();
  bool owed = false;
  for (std::size_t i = 0; i < s.clients.size();) {
    Client* c = s.clients[i].get();
    if (!c->hello && now - c->since >= std::chrono::milliseconds(HelloWithinMs)) {
      Drop(c);
      continue;
    }
    owed = owed || !c->hello;
    ++i;
  }
  ArmTimer(owed);
}

// Makes a place for a newcomer when all are taken: the oldest client without
// HELLO goes, else the oldest that announced no Pane. False when every place
// holds a Pane.
bool MakePlace() {
  Server& s = S();
  Client* victim = nullptr;
  for (auto& c : s.clients)
    if (!c->hello) {
      victim = c.get();
      break;
    }
  if (victim == nullptr)
    for (auto& c : s.clients)
      if (c->pane == 0) {
        victim = c.get();
        break;
      }
  if (victim == nullptr)
    return false;
  Drop(victim);
  return true;
}

void Accept() {
  Server& s = S();
  DropSilent();
  while (true) {
    int fd = accept4(s.listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR)
        continue;
      return;
    }
    if (s.clients.size() >= MaxClients && !MakePlace()) {
      close(fd);
      continue;
    }
    auto c = std::make_unique<Client>();
    c->fd = fd;
    c->id = s.nextId++;
    c->since = Clock::now();
    epoll_event ev{};
    ev.events = EPOLLIN;
    ev.data.fd = fd;
    if (epoll_ctl(s.epollFd, EPOLL_CTL_ADD, fd, &ev) != 0) {
      close(fd);
      continue;
    }
    s.clients.push_back(std::move(c));
    ArmTimer(true);
  }
}

// Services one descriptor of the set; the lock is held.
void ServiceFd(int fd, bool writable) {
  Server& s = S();
  if (fd == s.listenFd) {
    Accept();
    return;
  }
  if (fd == s.wakeFd) {
    std::uint64_t count = 0;
    (void)!read(s.wakeFd, &count, sizeof count);
    return;
  }
  if (fd == s.timerFd) {
    std::uint64_t count = 0;
    (void)!read(s.timerFd, &count, sizeof count);
    DropSilent();
    return;
  }
  Client* c = FindByFd(fd);
  if (c == nullptr)
    return;
  if (writable && !Flush(c))
    return;
  ReadClient(c);
}

// One turn of I/O on the listener and every client, waiting at most
// timeoutMs for something to happen. Runs no handler. The lock is held.
void Pump(int timeoutMs) {
  Server& s = S();
  if (!s.listening)
    return;
  std::vector<pollfd> fds;
  fds.push_back(pollfd{s.listenFd, POLLIN, 0});
  fds.push_back(pollfd{s.timerFd, POLLIN, 0});
  for (auto& c : s.clients)
    fds.push_back(pollfd{c->fd, static_cast<short>(POLLIN | (c->out.empty() ? 0 : POLLOUT)), 0});
  int n = poll(fds.data(), fds.size(), timeoutMs);
  if (n <= 0)
    return;
  for (const pollfd& p : fds)
    if (p.revents != 0)
      ServiceFd(p.fd, (p.revents & POLLOUT) != 0);
}

// Runs the handlers for queued frames, on the calling (servicing) thread,
// with the lock released around each handler.
void Drain() {
  Server& s = S();
  std::unique_lock<std::recursive_mutex> hold(s.lock);
  while (!s.pending.empty()) {
    Pending p = std::move(s.pending.front());
    s.pending.pop_front();
    CarrierHandlers h = s.handlers;
    const CarrierFrame& f = p.frame;
    hold.unlock();
    LResult result = 0;
    switch (f.kind) {
    case CarrierFramePost:
      if (h.post)
        h.post(f.message, f.w, f.l);
      break;
    case CarrierFrameSend:
      if (h.send)
        result = h.send(f.message, f.w, f.l);
      break;
    case CarrierFrameText:
      if (h.text && f.number >= -0x80000000LL && f.number <= 0x7FFFFFFF)
        h.text(static_cast<int>(f.number), f.text);
      break;
    case CarrierFrameWindow:
      if (h.window)
        h.window(f.text, f.args);
      break;
    default:
      break;
    }
    hold.lock();
    if (f.kind == CarrierFrameSend)
      if (Client* c = FindById(p.client))
        Write(c, "RET " + std::to_string(result) + "\n");
  }
}

bool Fail(std::string* error, const std::string& why) {
  if (error)
    *error = why;
  return false;
}

// Makes the folder of the socket (and the folders above it, 0700), or checks
// the one there: ours, a real folder, mode 0700.
bool PrepareFolder(const std::string& folder, std::string* error) {
  for (std::size_t at = folder.find('/', 1); at != std::string::npos; at = folder.find('/', at + 1))
    mkdir(folder.substr(0, at).c_str(), 0700);
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
    return Fail(error, "can't make " + folder + ": " + std::strerror(errno));
  struct stat st {};
  if (lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
    return Fail(error, folder + " is not a folder");
  if (st.st_uid != getuid())
    return Fail(error, folder + " belongs to another user");
  if ((st.st_mode & 0777) != 0700 && chmod(folder.c_str(), 0700) != 0)
    return Fail(error, "can't restrict " + folder);
  return true;
}

bool FillAddress(const std::string& path, sockaddr_un* address) {
  std::memset(address, 0, sizeof *address);
  address->sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address->sun_path)
    return false;
  std::memcpy(address->sun_path, path.data(), path.size());
  return true;
}

// True when something we may trust accepts connections at path.
bool Answers(const std::string& path) {
  sockaddr_un address;
  if (!CarrierPathTrusted(path, nullptr) || !FillAddress(path, &address))
    return false;
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0)
    return false;
  bool ok = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return ok;
}

void CloseAll() {
  Server& s = S();
  for (auto& c : s.clients)
    close(c->fd);
  s.clients.clear();
  s.pending.clear();
  s.helloPids.clear();
  if (s.listenFd >= 0) {
    // Only our own socket file goes: a later Panel may have replaced it.
    struct stat st {};
    if (!s.path.empty() && lstat(s.path.c_str(), &st) == 0 && st.st_ino == s.socketInode)
      unlink(s.path.c_str());
    close(s.listenFd);
  }
  for (int* fd : {&s.epollFd, &s.wakeFd, &s.timerFd, &s.lockFd})
    if (*fd >= 0)
      close(*fd);
  s.listenFd = s.epollFd = s.wakeFd = s.timerFd = s.lockFd = -1;
  s.timerArmed = false;
  s.listening = false;
  s.path.clear();
}

// --- the Pane record ---------------------------------------------------------

void WindowFrame(Hwnd window, const std::string& op, std::vector<long> args) {
  std::lock_guard<std::recursive_mutex> hold(S().lock);
  Client* c = FindByPane(window);
  if (c == nullptr)
    return;
  CarrierFrame f;
  f.kind = CarrierFrameWindow;
  f.text = op;
  f.args = std::move(args);
  Write(c, CarrierFormatFrame(f));
}

int PanePost(Hwnd window, unsigned message, WParam w, LParam l) {
  std::lock_guard<std::recursive_mutex> hold(S().lock);
  Client* c = FindByPane(window);
  if (c == nullptr)
    return 0;
  return Write(c, CarrierFormatPost(message, w, l)) ? 1 : 0;
}

LResult PaneSend(Hwnd window, unsigned message, WParam w, LParam l) {
  Server& s = S();
  std::lock_guard<std::recursive_mutex> hold(s.lock);
  Client* c = FindByPane(window);
  if (c == nullptr)
    return 0;
  int id = c->id;
  c->haveRet = false;
  if (!Write(c, CarrierFormatSend(message, w, l)))
    return 0;
  Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(CarrierSendTimeoutMs);
  while (true) {
    c = FindById(id);
    if (c == nullptr)
      return 0; // the Pane went away while we waited
    if (c->haveRet) {
      c->haveRet = false;
      return c->ret;
    }
    int left = RemainingMs(deadline);
    if (left == 0) {
      ++c->staleRets;
      return 0;
    }
    Pump(left);
  }
}

bool PaneIsWindow(Hwnd window) {
  std::lock_guard<std::recursive_mutex> hold(S().lock);
  return FindByPane(window) != nullptr;
}

void PaneBringToTop(Hwnd window) {
  WindowFrame(window, "RAISE", {});
}
void PaneSetForeground(Hwnd window) {
  WindowFrame(window, "FOCUS", {});
}

void PaneSetWindowPos(Hwnd window, Hwnd insertAfter, int x, int y, int cx, int cy, unsigned flags) {
  bool move = (flags & SWP_NOMOVE) == 0;
  bool size = (flags & SWP_NOSIZE) == 0;
  if (move || size)
    WindowFrame(window, "MOVE", {move ? x : -1L, move ? y : -1L, size ? cx : -1L, size ? cy : -1L});
  if ((flags & SWP_NOZORDER) == 0) {
    if (insertAfter == HWND_TOPMOST)
      WindowFrame(window, "TOPMOST", {1});
    else if (insertAfter == HWND_NOTOPMOST)
      WindowFrame(window, "TOPMOST", {0});
    else if (insertAfter == HWND_TOP)
      WindowFrame(window, "RAISE", {});
  }
  if (flags & SWP_SHOWWINDOW)
    WindowFrame(window, "SHOW", {1});
}

void PaneShowWindow(Hwnd window, int command) {
  WindowFrame(window, "SHOW", {command == SW_HIDE ? 0L : 1L});
}

void PaneInvalidate(Hwnd window) {
  WindowFrame(window, "REDRAW", {});
}

const WindowBackend paneBackend = [] {
  WindowBackend b{};
  b.postMessage = PanePost;
  b.sendMessage = PaneSend;
  b.isWindow = PaneIsWindow;
  b.bringToTop = PaneBringToTop;
  b.setForeground = PaneSetForeground;
  b.setWindowPos = PaneSetWindowPos;
  b.showWindow = PaneShowWindow;
  b.invalidate = PaneInvalidate;
  return b;
}();

} // namespace

std::string CarrierSocketPath() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && runtime[0] == '/')
    return std::string(runtime) + "/skerry/panel.sock";
  // Without a runtime folder: below the user's own state folder, which no
  // other user can make first, as one could a folder in /tmp.
  const char* state = std::getenv("XDG_STATE_HOME");
  const char* home = std::getenv("HOME");
  std::string base;
  if (state != nullptr && state[0] == '/')
    base = state;
  else if (home != nullptr && home[0] == '/')
    base = std::string(home) + "/.local/state";
  std::string path = base + "/skerry/run/panel.sock";
  if (!base.empty() && path.size() < sizeof(sockaddr_un{}.sun_path))
    return path;
  return "/tmp/skerry-" + std::to_string(getuid()) + "/panel.sock";
}

bool CarrierPathTrusted(const std::string& path, std::string* why) {
  std::string folder = path.substr(0, path.rfind('/'));
  struct stat st {};
  if (folder.empty() || lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
    return Fail(why, folder + " is not a folder");
  if (st.st_uid != getuid())
    return Fail(why, folder + " belongs to another user");
  if ((st.st_mode & 0077) != 0)
    return Fail(why, folder + " is open to other users");
  if (lstat(path.c_str(), &st) == 0 && (!S_ISSOCK(st.st_mode) || st.st_uid != getuid()))
    return Fail(why, path + " is not a socket of this user");
  return true;
}

bool CarrierPanelRunning() {
  return Answers(CarrierSocketPath());
}

bool CarrierListen(const CarrierHandlers& handlers, std::string* error) {
  Server& s = S();
  std::lock_guard<std::recursive_mutex> hold(s.lock);
  if (s.listening)
    return Fail(error, "this process already listens on " + s.path);
  std::string path = CarrierSocketPath();
  sockaddr_un address;
  if (!FillAddress(path, &address))
    return Fail(error, "socket path too long: " + path);
  std::string folder = path.substr(0, path.rfind('/'));
  if (!PrepareFolder(folder, error))
    return false;

  // The lock file closes the gap between the test for a stale socket and
  // the bind: two Panels starting together can't both take the socket.
  s.lockFd =
      open((folder + "/panel.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (s.lockFd < 0 || flock(s.lockFd, LOCK_EX | LOCK_NB) != 0) {
    CloseAll();
    return Fail(error, "another Panel holds " + folder);
  }
  struct stat st {};
  if (lstat(path.c_str(), &st) == 0) {
    if (!S_ISSOCK(st.st_mode)) {
      CloseAll();
      return Fail(error, path + " exists and is not a socket");
    }
    if (Answers(path)) {
      CloseAll();
      return Fail(error, "another Panel answers on " + path);
    }
    unlink(path.c_str()); // stale: nobody answers
  }
  s.listenFd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (s.listenFd < 0 ||
      bind(s.listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(s.listenFd, 64) != 0) {
    std::string why = std::strerror(errno);
    CloseAll();
    return Fail(error, "can't listen on " + path + ": " + why);
  }
  chmod(path.c_str(), 0600);
  if (lstat(path.c_str(), &st) == 0)
    s.socketInode = st.st_ino;
  s.path = path;
  s.epollFd = epoll_create1(EPOLL_CLOEXEC);
  s.wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  s.timerFd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  if (s.epollFd < 0 || s.wakeFd < 0 || s.timerFd < 0) {
    CloseAll();
    return Fail(error, "can't make the carrier's event set");
  }
  for (int fd : {s.listenFd, s.wakeFd, s.timerFd}) {
    epoll_event ev{};
    ev.events = EPOLLIN;
    ev.data.fd = fd;
    epoll_ctl(s.epollFd, EPOLL_CTL_ADD, fd, &ev);
  }
  s.handlers = handlers;
  s.listening = true;
  return true;
}

void CarrierClose() {
  std::lock_guard<std::recursive_mutex> hold(S().lock);
  CloseAll();
}

std::vector<int> CarrierDescriptors() {
  std::lock_guard<std::recursive_mutex> hold(S().lock);
  if (!S().listening)
    return {};
  return {S().epollFd};
}

void CarrierService(int fd) {
  Server& s = S();
  {
    std::lock_guard<std::recursive_mutex> hold(s.lock);
    if (!s.listening)
      return;
    if (fd == s.epollFd) {
      epoll_event events[64];
      int n = epoll_wait(s.epollFd, events, 64, 0);
      for (int i = 0; i < n; ++i)
        ServiceFd(events[i].data.fd, (events[i].events & EPOLLOUT) != 0);
    } else {
      ServiceFd(fd, true);
    }
  }
  Drain();
}

void CarrierPoll(int timeoutMs) {
  Server& s = S();
  {
    std::lock_guard<std::recursive_mutex> hold(s.lock);
    if (!s.listening)
      return;
    if (s.pending.empty()) {
      // The wait itself runs without the lock, so that other threads can
      // post to Panes meanwhile; then one turn services what is ready.
      pollfd p{s.epollFd, POLLIN, 0};
      s.lock.unlock();
      poll(&p, 1, timeoutMs < 0 ? 0 : timeoutMs);
      s.lock.lock();
      if (!s.listening)
        return;
    }
    Pump(0);
    std::uint64_t count = 0;
    (void)!read(s.wakeFd, &count, sizeof count);
  }
  Drain();
}

const WindowBackend* CarrierPaneBackend() {
  return &paneBackend;
}

bool CarrierWaitForClient(int pid, int timeoutMs) {
  Server& s = S();
  Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  std::lock_guard<std::recursive_mutex> hold(s.lock);
  if (!s.listening || pid <= 0)
    return false;
  while (true) {
    for (int seen : s.helloPids)
      if (seen == pid)
        return true;
    int left = RemainingMs(deadline);
    if (left == 0)
      return false;
    Pump(left < 50 ? left : 50);
  }
}

std::vector<int> CarrierClientPids() {
  std::lock_guard<std::recursive_mutex> hold(S().lock);
  std::vector<int> pids;
  for (auto& c : S().clients)
    pids.push_back(c->pid);
  return pids;
}
