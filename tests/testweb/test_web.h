// The test web for gtest tests: starts tests/testweb/testweb.py on a sites
// folder of the test's own, maps host names to it in hosts.ini, and reads the
// server's request log. Header only; see tests/testweb/README.md.
//
//   TestWeb web;                                  // sites below a temp folder
//   web.Put("lists.test", "/Top.ini", "[Top]\n..."); // a file a host serves
//   web.Answer("search.test", "/search?p=Rocket%20Race", {"file=rocket.html"});
//   ASSERT_TRUE(web.Start());
//   web.WriteHosts(systemFolder, {"lists.test", "search.test"});
//   ... the code under test fetches http(s)://lists.test/Top.ini ...
//   EXPECT_EQ(web.Count("lists.test", "/Top.ini"), 1);
#pragma once

#include <fcntl.h>
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
  std::string method; // GET, HEAD, ...
  std::string scheme; // http or https
  std::string host;   // the Host header as sent, lower case ("-" when none)
  std::string target; // path with query, as received (escapes kept)
};

class TestWeb {
 public:
  // root: a folder the server may use (made when missing); empty makes a
  // temporary one that is removed again by the destructor.
  explicit TestWeb(std::filesystem::path root = {}) {
    if (root.empty()) {
      char pattern[] = "/tmp/skerry-testweb-XXXXXX";
      root_ = mkdtemp(pattern);
      ownRoot_ = true;
    } else {
      root_ = root;
    }
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

  // The folder of host's files (made when missing): a request for /a/b.swf
  // is answered with <Site(host)>/a/b.swf, / with index.html.
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

  // Adds a special answer for target (a path with or without a query, as the
  // client sends it or percent-decoded; "*" for every path of the host) made
  // of the rules of README.md ("status=303", "location=...", "file=x.html",
  // "body=...", "date=...", "chunked", "nolength", "rate=N", "cut=N",
  // "stall=MS", "after=N", "delay=MS", "header=Name: value", "type=...").
  // The first line for a target wins; takes effect at the next request.
  void Answer(const std::string& host, const std::string& target,
              std::initializer_list<std::string> rules) {
    std::string line = target;
    for (const std::string& rule : rules)
      line += "\t" + rule;
    std::ofstream(Site(host) / ".answers", std::ios::app) << line << "\n";
  }

  // Starts the server (plain http and TLS on one port) and waits until it
  // listens, up to timeoutSeconds. False when it did not come up.
  bool Start(int timeoutSeconds = 20) {
    Stop();
    std::filesystem::remove(root_ / "port");
    std::string script = ScriptPath();
    std::string sites = (root_ / "sites").string();
    std::string portFile = (root_ / "port").string();
    std::string log = LogPath();
    std::string certs = (root_ / "cert").string();
    std::string parent = std::to_string(getpid());
    std::vector<std::string> args = {"python3",     script,   "--sites",  sites,
                                     "--port-file", portFile, "--log",    log,
                                     "--cert-dir",  certs,    "--parent", parent};
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
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
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
      int status = 0;
      waitpid(pid_, &status, 0);
    }
    pid_ = -1;
    port_ = 0;
  }

  unsigned short Port() const { return port_; }
  // The server's self-signed certificate (PEM), valid for every host folder
  // present at Start, localhost and 127.0.0.1.
  std::string Certificate() const { return (root_ / "cert" / "cert.pem").string(); }
  std::string LogPath() const { return (root_ / "requests.log").string(); }

  // hosts.ini in systemFolder (made when missing; the test's
  // $SKERRY_SYSTEM_DIR) sending each of hosts to the server, trusting its
  // certificate for them. extra is written as it stands between the [Hosts]
  // lines and the closing [Trust] section (more host lines, or a [Trust]
  // section of its own, which then wins).
  void WriteHosts(const std::filesystem::path& systemFolder, const std::vector<std::string>& hosts,
                  const std::string& extra = "") const {
    std::filesystem::create_directories(systemFolder);
    std::ofstream out(systemFolder / "hosts.ini", std::ios::trunc);
    out << "[Hosts]\n";
    for (const std::string& host : hosts)
      out << host << "=127.0.0.1:" << port_ << "\n";
    out << extra << "\n[Trust]\nCertificate=" << Certificate() << "\n";
  }

  // Every request so far, in the order the server received them.
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

  // How many requests named host (port ignored) and target (as received;
  // without a query in target, any query matches).
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

  static std::string ScriptPath() {
    if (const char* source = getenv("SKERRY_SOURCE_DIR"); source != nullptr && *source != '\0')
      return std::string(source) + "/tests/testweb/testweb.py";
#ifdef SKERRY_SOURCE_DIR
    return SKERRY_SOURCE_DIR "/tests/testweb/testweb.py";
#else
    return (std::filesystem::path(__FILE__).parent_path() / "testweb.py").string();
#endif
  }

  std::filesystem::path root_;
  bool ownRoot_ = false;
  pid_t pid_ = -1;
  unsigned short port_ = 0;
};
