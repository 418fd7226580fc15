// What reaches a Pane from outside: carrier frames, its command line, and the
// request lines of its game server, answered against a small Game folder.
// The browser's pure parts are compiled in here, since the fuzz targets link
// only the system's library.
#include "browser/game_server.cpp"
#include "browser/pane_protocol.cpp"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sys/stat.h>

namespace {

const GameServer& Server() {
  static GameServer server = [] {
    char name[] = "/tmp/skerry-fuzz-pane-XXXXXX";
    std::string root = mkdtemp(name) ? name : "/tmp";
    mkdir((root + "/Game").c_str(), 0700);
    std::ofstream(root + "/Game/a.swf") << "FWS";
    std::ofstream(root + "/secret.swf") << "FWS";
    return GameServer{"tok", root + "/Game", root + "/Game"};
  }();
  return server;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  Frame frame = ParseFrame(text);
  (void)ActionFor(frame, true);
  (void)ActionFor(frame, false);
  std::string shown = AddressText(text);
  if (shown.size() > 511 || shown.find('\n') != std::string::npos)
    std::abort();

  std::vector<std::string> args;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || text[i] == '\0') {
      args.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }
  PaneArgs pane = ParsePaneArgs(args);
  if (pane.slot > 11)
    std::abort();

  bool isHead = false;
  std::string target = RequestTarget(text, &isHead);
  HttpAnswer answer = AnswerGameRequest(Server(), target.empty() ? text : target);
  // Whatever the request, a file handed out lies inside the Game folder.
  if (!answer.file.empty() && ResolveInside(Server().gameDir, answer.file) != answer.file)
    std::abort();
  (void)AnswerHead(answer, answer.body.size());
  return 0;
}
