// The archive is read and written raw through the INI engine (no macros:
// its values are paths and addresses that came from the web). Sections and
// entry keys are hashes, so no address can break a line or a header of it.
#include "video/delivery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "panel/panel_state.h"
#include "panel/tips.h"
#include "platform/ini.h"
#include "shell/module_path.h"
#include "shell/tray.h"
#include "video/video_jobs.h"

namespace {

// How long the closing line stays before the job's line empties, in ms.
constexpr unsigned ClosingLineMs = 3000;

std::string Hash(const std::string& text) {
  std::uint64_t h = 1469598103934665603ull; // FNV-1a, 64 bits
  for (unsigned char c : text) {
    h ^= c;
    h *= 1099511628211ull;
  }
  char out[17];
  std::snprintf(out, sizeof out, "%016llx", static_cast<unsigned long long>(h));
  return out;
}

std::string ArchiveFile() {
  char path[260] = "";
  ModuleFilePath(0, path, "iFetched.ini");
  return path;
}

} // namespace

std::string ArchiveSection(const std::string& listUrl, const std::string& target,
                           std::uint32_t format) {
  // Appended, not prefixed: GCC's Release build warns (falsely) about a prefix
  // copied into a temporary string.
  std::string section = "L";
  section += Hash(listUrl + '\n' + target + '\n' + std::to_string(format));
  std::string file = ArchiveFile();
  if (!IniHasSection(file.c_str(), section.c_str())) {
    IniWrite(file.c_str(), section.c_str(), "List", listUrl.c_str());
    IniWrite(file.c_str(), section.c_str(), "Target", target.c_str());
  }
  return section;
}

std::string ArchiveKey(const std::string& link) {
  std::string key = "E";
  return key += Hash(link);
}

bool ArchivedAndThere(const std::string& section, const std::string& key) {
  std::string file;
  if (!IniLookup(ArchiveFile().c_str(), section.c_str(), key.c_str(), file) || file.empty())
    return false;
  struct stat st {};
  return stat(file.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0;
}

std::map<std::string, std::string> ArchivedFiles(const std::string& section) {
  std::map<std::string, std::string> files;
  std::string file = ArchiveFile();
  for (const std::string& key : IniKeys(file.c_str(), section.c_str()))
    if (key.size() == 17 && key[0] == 'E')
      files[IniReadString(file.c_str(), section.c_str(), key.c_str())] = key;
  return files;
}

void ArchiveDelivered(const std::string& section, const std::string& key, const std::string& file) {
  IniWrite(ArchiveFile().c_str(), section.c_str(), key.c_str(), file.c_str());
}

std::string MediaEnding(const std::string& path) {
  char head[12] = {};
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ssize_t got = fd < 0 ? 0 : read(fd, head, sizeof head);
  if (fd >= 0)
    close(fd);
  std::string bytes(head, got > 0 ? static_cast<std::size_t>(got) : 0);
  if (bytes.size() >= 11 && bytes.compare(4, 4, "ftyp") == 0)
    return bytes.compare(8, 3, "3gp") == 0 ? ".3gp" : ".mp4";
  const std::pair<std::string, const char*> heads[] = {
      {"\x1A\x45\xDF\xA3", ".webm"},          {"RIFF", ".avi"}, {"\x30\x26\xB2\x75", ".wmv"},
      {std::string("\0\0\1\xBA", 4), ".mpg"}, {"FLV", ".flv"},
  };
  for (const auto& [start, ending] : heads)
    if (bytes.rfind(start, 0) == 0)
      return ending;
  return ".video";
}

void EndVideoRoad(std::uint32_t format, const std::string& target, int delivered, int already,
                  const std::string& failure) {
  bool phone = format >= FormatPhone;
  PanelState& p = Panel();
  StatusLine& line = phone ? p.PhoneStatus : p.CollectStatus;
  auto show = [&](const std::string& text) {
    line.Set(text);
    UpdateTip(VideoCollect().CollectOwner.load(), p.TooltipWindow.load(), phone ? 21 : 20,
              p.PanelRotation.load());
  };
  std::string closing =
      std::to_string(delivered) + " new, " + std::to_string(already) + " already there";
  std::string where = phone ? std::string(" on the phone") : " in " + target;
  std::string told;
  if (delivered > 0)
    told = std::to_string(delivered) + (delivered == 1 ? " video" : " videos") + where;
  else if (!failure.empty())
    told = "No video arrived" + where + ": " + failure;
  else if (already > 0)
    told = "No new video" + where;
  else
    told = "No video arrived" + where + ": the list gave no video";
  TrayNotify(told + " (" + closing + ")");
  show(closing);
  // The line empties a moment later unless something else has been written
  // there; the job itself is done and doesn't wait for it.
  std::thread([&line, closing, phone] {
    VideoSleep(ClosingLineMs);
    bool cleared = false;
    line.Update([&](std::string& text) {
      if (text == closing)
        text.clear(), cleared = true;
    });
    PanelState& p = Panel();
    if (cleared)
      UpdateTip(VideoCollect().CollectOwner.load(), p.TooltipWindow.load(), phone ? 21 : 20,
                p.PanelRotation.load());
  }).detach();
}
