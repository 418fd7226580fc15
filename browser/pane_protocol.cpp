// Command line, carrier frames and the action table of a Pane. The Qt side
// (browser_main.cpp) reads lines off its socket, calls ParseFrame and
// ActionFor, and does what the action says; everything that can be decided
// without a window is decided here.
#include "browser/pane_protocol.h"

#include "platform/carrier.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <unistd.h>

namespace {

bool StartsWithNoCase(const std::string& text, const char* prefix) {
  for (std::size_t i = 0; prefix[i]; ++i) {
    if (i >= text.size() ||
        std::tolower(static_cast<unsigned char>(text[i])) != std::tolower(prefix[i]))
      return false;
  }
  return true;
}

// "/h2" -> 2; -1 when arg is no slot switch.
int SlotSwitch(const std::string& arg) {
  if (arg.size() < 3 || arg.size() > 4 || arg[0] != '/' || (arg[1] != 'h' && arg[1] != 'H'))
    return -1;
  int value = 0;
  for (std::size_t i = 2; i < arg.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(arg[i])))
      return -1;
    value = value * 10 + (arg[i] - '0');
  }
  return value;
}

bool ReadNumber(std::istringstream& in, long long& out) {
  std::string word;
  if (!(in >> word) || word.size() > 20)
    return false;
  char* end = nullptr;
  errno = 0;
  long long value = std::strtoll(word.c_str(), &end, 10);
  if (errno != 0 || end == word.c_str() || *end != '\0')
    return false;
  out = value;
  return true;
}

} // namespace

PaneArgs ParsePaneArgs(const std::vector<std::string>& args) {
  PaneArgs result;
  std::vector<std::string> rest;
  for (const std::string& arg : args) {
    int slot = SlotSwitch(arg);
    if (slot >= 0) {
      result.slot = slot <= 11 ? slot : -1;
      continue;
    }
    rest.push_back(arg);
  }
  std::string joined;
  for (const std::string& piece : rest) {
    if (piece.empty())
      continue;
    if (!joined.empty())
      joined += ' ';
    joined += piece;
  }
  if (StartsWithNoCase(joined, "/U=")) {
    result.isAddress = true;
    joined.erase(0, 3);
  }
  result.target = joined;
  return result;
}

unsigned AnnouncementFor(int slot) {
  if (slot < 0 || slot > 10 || slot == 3)
    return 0;
  return 1044 + static_cast<unsigned>(slot);
}

unsigned PaneHandleFor(long pid) {
  unsigned handle = static_cast<unsigned>(pid) & 0xFFFFu;
  return handle != 0 ? handle : 0xFFFFu;
}

std::string PaneCarrierPath() {
  return CarrierSocketPath();
}

Frame ParseFrame(const std::string& line) {
  Frame frame;
  std::string body = line;
  while (!body.empty() && (body.back() == '\r' || body.back() == '\n'))
    body.pop_back();
  std::istringstream in(body);
  std::string verb;
  in >> verb;
  int wanted = 0;
  if (verb == "HELLO") {
    frame.kind = FrameHello;
    wanted = 1;
  } else if (verb == "POST" || verb == "SEND") {
    frame.kind = verb == "POST" ? FramePost : FrameSend;
    wanted = 3;
  } else if (verb == "TEXT") {
    long long control = 0;
    if (!ReadNumber(in, control))
      return Frame{};
    frame.kind = FrameText;
    frame.number[0] = control;
    frame.count = 1;
    std::size_t at = body.find(' ', 5);
    frame.text = at == std::string::npos ? "" : body.substr(at + 1);
    return frame;
  } else if (verb == "WINDOW") {
    if (!(in >> frame.op))
      return Frame{};
    frame.kind = FrameWindow;
    wanted = 4;
  } else {
    return frame;
  }
  while (frame.count < wanted && ReadNumber(in, frame.number[frame.count]))
    ++frame.count;
  if (frame.kind != FrameWindow && frame.count < wanted)
    return Frame{};
  return frame;
}

PaneAction ActionFor(const Frame& frame, bool imagePlayer) {
  if (frame.kind == FramePost || frame.kind == FrameSend) {
    long long message = frame.number[0];
    long long code = frame.number[1] & 0xFFFF;
    if (message == 18)
      return ActQuit;
    if (message == 274) {
      if (frame.number[1] == 61488)
        return ActFillScreen;
      if (frame.number[1] == 61472)
        return ActReturnToPanel;
      return ActNone;
    }
    if (message != 273)
      return ActNone;
    switch (code) {
    case 32779:
    case 32781:
      return ActReload;
    case 32787:
      return ActBack;
    case 32788:
      return ActForward;
    case 32789:
      return ActFirstPage;
    case 32805:
      return ActMute;
    case 32777:
      return imagePlayer ? ActPause : ActNone;
    case 57680:
      return imagePlayer ? ActNextPicture : ActNone;
    case 57681:
      return imagePlayer ? ActPreviousPicture : ActNone;
    default:
      return ActNone;
    }
  }
  if (frame.kind == FrameWindow) {
    const std::string& op = frame.op;
    if (op == "RAISE")
      return ActRaise;
    if (op == "FOCUS")
      return ActFocus;
    if (op == "TOPMOST" && frame.count >= 1)
      return ActTopmost;
    if (op == "MOVE" && frame.count == 4)
      return ActMove;
    if (op == "SHOW" && frame.count >= 1)
      return ActShow;
    if (op == "REDRAW")
      return ActRedraw;
  }
  return ActNone;
}

std::string AddressText(const std::string& address) {
  std::string text = address;
  for (char& c : text) {
    if (c == '\n' || c == '\r' || c == '\0')
      c = ' ';
  }
  if (text.size() <= 511)
    return text;
  std::size_t cut = 511;
  // Step back over continuation bytes so the last character stays whole.
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
    --cut;
  text.resize(cut);
  return text;
}

std::vector<std::string> FolderPictures(const std::string& folder) {
  namespace fs = std::filesystem;
  auto isPicture = [](const fs::path& path) {
    std::string ending = path.extension().string();
    for (char& c : ending)
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const char* known : {".jpg", ".jpeg", ".png", ".gif", ".bmp", ".webp"})
      if (ending == known)
        return true;
    return false;
  };
  std::vector<std::pair<fs::file_time_type, std::string>> found;
  auto scan = [&](const fs::path& dir, bool descend, auto& self) -> void {
    std::error_code error;
    for (fs::directory_iterator it(dir, error), end; !error && it != end; it.increment(error)) {
      std::error_code e;
      if (it->is_regular_file(e) && isPicture(it->path()))
        found.emplace_back(it->last_write_time(e), it->path().string());
      else if (descend && it->is_directory(e) && !it->is_symlink(e))
        self(it->path(), false, self);
    }
  };
  scan(folder, true, scan);
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
    return a.first != b.first ? a.first > b.first : a.second < b.second;
  });
  std::vector<std::string> pictures;
  for (auto& entry : found)
    pictures.push_back(std::move(entry.second));
  return pictures;
}
