// Every writer of these temporaries holds a lock on it while it writes (the
// URL download, the private copies, the staging folder of a game link, the
// upload to a card); ffmpeg's intermediate outputs are written by a child
// that dies with the program, so at a start none of them has a writer left.
#include "shell/leftovers.h"

#include <cctype>
#include <cstring>

#include "platform/files.h"
#include "platform/sysdirs.h"
#include "shell/module_path.h"

namespace {

// Digits from at, at least one; the position behind them.
std::size_t Digits(const std::string& name, std::size_t at) {
  std::size_t end = at;
  while (end < name.size() && std::isdigit(static_cast<unsigned char>(name[end])))
    ++end;
  return end > at ? end : std::string::npos;
}

// "cv<n>-<t>.<slot>": a video download still under its job's name; behind
// it ".<anything>" for what the resolver writes under that name (its parts,
// fragments and streams before the merge).
bool IsHalfDownload(const std::string& name) {
  if (name.compare(0, 2, "cv") != 0)
    return false;
  std::size_t at = Digits(name, 2);
  if (at == std::string::npos || at >= name.size() || name[at] != '-')
    return false;
  at = Digits(name, at + 1);
  if (at == std::string::npos || at >= name.size() || name[at] != '.')
    return false;
  at = Digits(name, at + 1);
  return at == name.size() || (at != std::string::npos && name[at] == '.');
}

// "<stem>~<k>-<j>.<ending>" with an ending of the conversion table.
bool IsConversionOutput(const std::string& name) {
  std::size_t tilde = name.rfind('~');
  if (tilde == std::string::npos || tilde < 4 || tilde > 12)
    return false;
  std::size_t at = Digits(name, tilde + 1);
  if (at == std::string::npos || at >= name.size() || name[at] != '-')
    return false;
  at = Digits(name, at + 1);
  if (at == std::string::npos)
    return false;
  std::string ending = name.substr(at);
  return ending == ".3gp" || ending == ".avi" || ending == ".wmv" || ending == ".mpg";
}

// ".<name>.<ending>.part": a copy to a card or folder still under way.
bool IsCopyUnderWay(const std::string& name) {
  static const char* const endings[] = {".3gp.part", ".avi.part", ".wmv.part", ".mpg.part",
                                        ".mp4.part"};
  if (name.size() < 11 || name[0] != '.')
    return false;
  for (const char* ending : endings)
    if (name.compare(name.size() - std::strlen(ending), std::string::npos, ending) == 0)
      return true;
  return false;
}

bool StartsWith(const std::string& name, const char* head) {
  return name.compare(0, std::strlen(head), head) == 0;
}

} // namespace

int SweepRoadTemporaries(const std::string& folder, bool atStart) {
  if (folder.empty())
    return 0;
  // One listing serves every kind of leftover.
  return RemoveStaleEntries(folder, "*", [atStart](const FileEntry& e) {
    if (e.isDirectory)
      return StartsWith(e.name, ".link-");
    // ffmpeg holds no lock: only a start, when no conversion can run, takes
    // its outputs.
    return IsHalfDownload(e.name) || StartsWith(e.name, ".skerry-part-") ||
           IsCopyUnderWay(e.name) || (atStart && IsConversionOutput(e.name));
  });
}

void SweepRoadTemporariesAtStart() {
  SweepRoadTemporaries(SystemSubfolder("Temp"), true);
  for (const char* name : {"Video", "Game"}) {
    char path[260] = "";
    ModuleFilePath(0, path, name);
    SweepRoadTemporaries(path, true);
  }
}
