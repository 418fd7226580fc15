// The phone is told by its card's folders, weighed in three passes over each
// removable drive of the drive table from the first letter on. A folder is
// looked up as the desktop's file system would, ignoring ASCII case, so a
// card that writes "VIDEO" or "music" still counts; the video folder is
// handed back with the case the card itself uses.
#include "video/phone_drive.h"

#include "platform/drives.h"
#include "platform/files.h"

#include <sys/stat.h>

#include <cstring>
#include <string>

namespace {

constexpr std::size_t VideoFolderSize = 260;

// The path of relative ("System/Apps") below root as it exists, each part
// matched ignoring case; empty when some part is missing. A file of that
// name counts too.
std::string PresentPath(const std::string& root, const char* relative) {
  std::string at = root == "/" ? std::string() : root;
  const char* part = relative;
  while (*part) {
    const char* end = std::strchr(part, '/');
    std::string name = end ? std::string(part, end) : std::string(part);
    struct stat st {};
    std::string exact = at + "/" + name;
    if (stat(exact.c_str(), &st) == 0) {
      at = exact;
    } else {
      std::string found;
      ForEachFileEntry(at.empty() ? "/" : at, name.c_str(), [&](const FileEntry& e) {
        found = e.name;
        return false;
      });
      if (found.empty())
        return std::string();
      at += "/" + found;
    }
    if (!end)
      break;
    part = end + 1;
  }
  return at;
}

struct PassFolder {
  int pass;
  const char* name;
  bool video;
};

constexpr PassFolder Folders[] = {
    {1, "Video", true},        {1, "System", false}, {1, "Music", false},
    {2, "Videos", true},       {2, "Sounds", false}, {2, "Nokia", false},
    {2, "System/Apps", false}, {3, "Videos", true},  {3, "Music", false},
};

} // namespace

int FindPhoneDrive(int firstLetter, char* videoFolder) {
  if (firstLetter > 'Z')
    return 0;
  for (const DriveEntry& drive : DriveTable()) {
    if (drive.letter < firstLetter || drive.type != DriveRemovable)
      continue;
    int score = 0;
    for (int pass = 1; pass <= 3; ++pass) {
      if (pass < 3)
        score = 0;
      for (const PassFolder& f : Folders) {
        if (f.pass != pass)
          continue;
        std::string path = PresentPath(drive.root, f.name);
        if (path.empty())
          continue;
        ++score;
        if (f.video && videoFolder && path.size() < VideoFolderSize)
          std::memcpy(videoFolder, path.c_str(), path.size() + 1);
      }
      if (score >= (pass < 3 ? 3 : 1))
        return drive.letter;
    }
  }
  return 0;
}
