// The test web for gtest tests: starts tests/testweb/testweb.py on a sites
// folder of the test's own, maps host names to it in hosts.ini, and reads the
// server's request log. See tests/testweb/README.md.
#pragma once

#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

struct TestWebRequest {
  std::string method, scheme; // GET, ...; http or https
  std::string host;           // the Host header as sent, lower case ("-" when none)
  std::string target;         // path with query, as received (escapes kept)
};

class TestWeb {
 public:
  // root: a folder for the server (made when missing); empty: a temporary one.
  explicit TestWeb(std::filesystem::path root = {}) : root_(root), ownRoot_(root.empty()) {
    char pattern[] = "/tmp/skerry-testweb-XXXXXX";
    if (ownRoot_)
      root_ = mkdtemp(pattern);
    std::filesystem::create_directories(root_ / "sites");
  }
  ~TestWeb() {
    Stop();
    if (ownRoot_) {
      std::error_code ignored;
      std::filesystem::remove_all(root_, ignored);
    }
  }
  TestWeb(const TestWeb&) = delete;
  TestWeb& operator=(const TestWeb&) = delete;

  // The folder of host's files (made when missing); / is index.html.
  std::filesystem::path Site(const std::string& host) {
    std::filesystem::path folder = root_ / "sites" / Lower(host);
    std::filesystem::create_directories(folder);
    return folder;
  }

  // Writes a file that host serves at path (a path, no query).
  void Put(const std::string& host, const std::string& path, const std::string& bytes) {
    std::filesystem::path file = Site(host) / std::filesystem::path(path).relative_path();
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
  }

  // Appends README.md's rules for target (with or without a query, as sent or
  // decoded; "*": every path) to host's answers; the first line for a target wins.
  void Answer(const std::string& host, const std::string& target,
              std::initializer_list<std::string> rules) {
    std::string line = target;
    for (const std::string& rule : rules)
      line += "\t" + rule;
    std::ofstream(Site(host) / ".answers", std::ios::app) << line << "\n";
  }

  // Starts the server (http and TLS on one port); false when it did not come up.
  bool Start(int timeoutSeconds = 20) {
    Stop();
    std::filesystem::remove(root_ / "port");
    std::string portFile = (root_ / "port").string();
    std::vector<std::string> args = {"python3",     ScriptPath(),
                                     "--sites",     (root_ / "sites").string(),
                                     "--port-file", portFile,
                                     "--log",       LogPath(),
                                     "--cert-dir",  (root_ / "cert").string(),
                                     "--parent",    std::to_string(getpid())};
    std::vector<char*> argv;
    for (std::string& arg : args)
      argv.push_back(arg.data());
    argv.push_back(nullptr);
    if (posix_spawnp(&pid_, "python3", nullptr, nullptr, argv.data(), environ) != 0) {
      pid_ = -1;
      return false;
    }
    auto until = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    while (std::chrono::steady_clock::now() < until) {
      std::ifstream in(portFile);
      if (in >> port_ && port_ > 0)
        return true;
      if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
        pid_ = -1;
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    Stop();
    return false;
  }

  void Stop() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
    port_ = 0;
  }

  unsigned short Port() const { return port_; }
  // The server's certificate (PEM), for every host folder present at Start.
  std::string Certificate() const { return (root_ / "cert" / "cert.pem").string(); }
  std::string LogPath() const { return (root_ / "requests.log").string(); }

  // hosts.ini in systemFolder ($SKERRY_SYSTEM_DIR) sending hosts to the server
  // and trusting its certificate; extra goes before the [Trust] section (more
  // host lines, or a [Trust] section of its own, which then wins).
  void WriteHosts(const std::filesystem::path& systemFolder, const std::vector<std::string>& hosts,
                  const std::string& extra = "") const {
    std::filesystem::create_directories(systemFolder);
    std::ofstream out(systemFolder / "hosts.ini", std::ios::trunc);
    out << "[Hosts]\n";
    for (const std::string& host : hosts)
      out << host << "=127.0.0.1:" << port_ << "\n";
    out << extra << "\n[Trust]\nCertificate=" << Certificate() << "\n";
  }

  // Every request so far, in order.
  std::vector<TestWebRequest> Requests() const {
    std::vector<TestWebRequest> requests;
    std::ifstream in(LogPath());
    std::string line;
    while (std::getline(in, line)) {
      std::istringstream fields(line);
      TestWebRequest request;
      if (fields >> request.method >> request.scheme >> request.host >> request.target)
        requests.push_back(request);
    }
    return requests;
  }

  // How many requests named host and target (as received; with no query in
  // target, any query matches).
  int Count(const std::string& host, const std::string& target) const {
    int count = 0;
    for (const TestWebRequest& request : Requests()) {
      std::string named = request.host.substr(0, request.host.find(':'));
      std::string path = request.target;
      if (target.find('?') == std::string::npos)
        path = path.substr(0, path.find('?'));
      if (named == Lower(host) && path == target)
        ++count;
    }
    return count;
  }

 private:
  static std::string Lower(std::string text) {
    for (char& c : text)
      if (c >= 'A' && c <= 'Z')
        c = static_cast<char>(c - 'A' + 'a');
    return text;
  }

  // The environment's source folder, else the build's (every includer defines it).
  static std::string ScriptPath() {
    const char* source = getenv("SKERRY_SOURCE_DIR");
    return std::string(source != nullptr && *source != '\0' ? source : SKERRY_SOURCE_DIR) +
           "/tests/testweb/testweb.py";
  }

  std::filesystem::path root_;
  bool ownRoot_ = false;
  pid_t pid_ = -1;
  unsigned short port_ = 0;
};
