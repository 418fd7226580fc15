// A scripted HTTP server on 127.0.0.1 for the benchmarks, which need a server
// faster than the test web: each connection's request is recorded, and a
// responder chooses the answer, played as a list of steps (bytes to send, then
// a pause), after which the connection is closed or held open until the client
// closes or the server stops. The port is picked by the system.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct ServerStep {
  std::string bytes;
  int pauseMs = 0;
  std::size_t fill = 0; // then this many filler bytes, sent in large writes
};

struct ServerReply {
  std::vector<ServerStep> steps;
  bool holdOpen = false;
};

// An answer of status line, headers and body in one step, closed after.
inline ServerReply PlainReply(const std::string& body, const std::string& status = "200 OK") {
  return ServerReply{{{"HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) +
                       "\r\n\r\n" + body}}};
}

struct ScriptServer {
  int listener = -1;
  unsigned short port = 0;
  std::function<ServerReply(const std::string& request)> responder;
  std::atomic<bool> stopping{false};
  std::thread acceptor;
  std::mutex mutex;
  std::vector<std::thread> connections;
  std::vector<std::string> requests;

  std::vector<std::string> Requests() {
    std::lock_guard<std::mutex> lock(mutex);
    return requests;
  }
};

// Binds fd to a free port on 127.0.0.1 and returns the port.
inline unsigned short BindLoopback(int fd) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t length = sizeof address;
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

inline bool SendAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    ssize_t n = send(fd, data, size, MSG_NOSIGNAL);
    if (n <= 0)
      return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

inline void ServeConnection(ScriptServer* server, int fd) {
  std::string request;
  char buffer[4096];
  while (request.find("\r\n\r\n") == std::string::npos) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 100) <= 0) {
      if (server->stopping)
        break;
      continue;
    }
    ssize_t n = recv(fd, buffer, sizeof buffer, 0);
    if (n <= 0)
      break;
    request.append(buffer, static_cast<std::size_t>(n));
  }
  {
    std::lock_guard<std::mutex> lock(server->mutex);
    server->requests.push_back(request);
  }
  ServerReply reply = server->responder(request);
  std::string filler(1 << 20, 'x');
  for (const ServerStep& step : reply.steps) {
    if (!SendAll(fd, step.bytes.data(), step.bytes.size()))
      break;
    for (std::size_t left = step.fill; left > 0;) {
      std::size_t n = std::min(left, filler.size());
      if (!SendAll(fd, filler.data(), n))
        break;
      left -= n;
    }
    if (step.pauseMs > 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(step.pauseMs));
  }
  if (reply.holdOpen) {
    while (!server->stopping) {
      pollfd p{fd, POLLIN, 0};
      if (poll(&p, 1, 50) > 0 && recv(fd, buffer, sizeof buffer, 0) <= 0)
        break;
    }
  }
  close(fd);
}

inline void StartServer(ScriptServer& server,
                        std::function<ServerReply(const std::string&)> responder) {
  server.responder = std::move(responder);
  server.listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  server.port = BindLoopback(server.listener);
  listen(server.listener, 16);
  ScriptServer* s = &server;
  server.acceptor = std::thread([s] {
    while (!s->stopping) {
      pollfd p{s->listener, POLLIN, 0};
      if (poll(&p, 1, 50) <= 0)
        continue;
      int fd = accept(s->listener, nullptr, nullptr);
      if (fd < 0)
        continue;
      std::lock_guard<std::mutex> lock(s->mutex);
      s->connections.emplace_back(ServeConnection, s, fd);
    }
  });
}

inline void StopServer(ScriptServer& server) {
  server.stopping = true;
  if (server.acceptor.joinable())
    server.acceptor.join();
  std::vector<std::thread> connections;
  {
    std::lock_guard<std::mutex> lock(server.mutex);
    connections.swap(server.connections);
  }
  for (std::thread& t : connections)
    t.join();
  if (server.listener >= 0)
    close(server.listener);
  server.listener = -1;
}

// Stops the server and makes it ready to start again, requests forgotten.
inline void ResetServer(ScriptServer& server) {
  StopServer(server);
  server.stopping = false;
  server.port = 0;
  server.requests.clear();
}

// A port on 127.0.0.1 where nothing listens (bound, then released).
inline unsigned short ClosedPort() {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  unsigned short port = BindLoopback(fd);
  close(fd);
  return port;
}
