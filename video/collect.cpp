// The video request: the save dialog used as a chooser of folder and format,
// then one slot of the ring filled and its threads started.
#include "video/collect.h"

#include <strings.h>

#include <cstring>
#include <string>

#include "games/cache_harvest.h"
#include "platform/sysdirs.h"
#include "video/phone_drive.h"
#include "video/video_jobs.h"

namespace {

constexpr int NameSize = 256;
constexpr const char* DialogTitle = "Save video to";

// Rows of description and pattern, each ended by a NUL; the closing NUL of
// the literal ends the list.
constexpr char GeneralFilter[] = "Flash Video (*.flv)\0*.flv\0"
                                 "Mp4 Video (*.mp4)\0*.mp4\0"
                                 "Mpeg ntsc-svcd 4:3 (*.mpg)\0*.mpg(n4)\0"
                                 "Mpeg ntsc-dvd 4:3 (*.mpg)\0*.mpg(n6)\0"
                                 "Mpeg ntsc-dvd 16:9 (*.mpg)\0*.mpg(n7)\0"
                                 "Mpeg pal-svcd 4:3 (*.mpg)\0*.mpg(p4)\0"
                                 "Mpeg pal-dvd 4:3 (*.mpg)\0*.mpg(p6)\0"
                                 "Mpeg pal-dvd 16:9 (*.mpg)\0*.mpg(p7)\0"
                                 "Avi Video (*.avi)\0*.avi\0"
                                 "All Files (*.*)\0*.*\0";

constexpr char PhoneFilter[] = "Phone Video Files (*.3gp)\0*.3gp\0"
                               "All Files (*.*)\0*.*\0";

// Cuts text at its last separator: the folder remains.
void CutAtLastSeparator(char* text) {
  char* slash = std::strrchr(text, '/');
  if (slash != nullptr)
    *slash = '\0';
}

} // namespace

std::uint32_t FormatFromName(const char* name) {
  struct Ending {
    const char* text;
    std::uint32_t format;
  };
  static const Ending endings[] = {
      {".flv", FormatFlash}, {".avi", FormatAvi}, {".wmv", FormatWmv}, {".mp4", FormatMp4},
      {".mpg(n4)", 14},      {".mpg(n6)", 16},    {".mpg(n7)", 17},    {".mpg(p4)", 24},
      {".mpg(p6)", 26},      {".mpg(p7)", 27},
  };
  std::size_t length = std::strlen(name);
  for (const Ending& e : endings) {
    std::size_t n = std::strlen(e.text);
    if (length >= n && strcasecmp(name + length - n, e.text) == 0)
      return e.format;
  }
  return FormatFlash;
}

int CollectVideo(Hwnd owner, const char* listUrl, const char* saveFolder, std::uint32_t entry) {
  VideoCollectRecord& record = VideoCollect();
  char name[NameSize] = "Video";
  char target[NameSize] = "";
  std::uint32_t format = FormatFlash;
  record.CollectTarget.Clear();
  record.CollectFormat = FormatFlash;

  bool phone = false;
  if (saveFolder == nullptr || *saveFolder == '\0') {
    char phoneFolder[260] = "";
    if (FindPhoneDrive('D', phoneFolder) != 0) {
      std::strcpy(target, "Video");
      if (SaveGameDialog(owner, DialogTitle, PhoneFilter, target, NameSize, phoneFolder) != 0) {
        CutAtLastSeparator(target);
        // Downloads for the phone pass through the temporary folder.
        std::string temp = SystemSubfolder("Temp");
        std::snprintf(name, sizeof name, "%s", temp.c_str());
        format = FormatPhone;
        phone = true;
      } else {
        target[0] = '\0';
      }
    }
  }
  if (!phone) {
    if (SaveGameDialog(owner, DialogTitle, GeneralFilter, name, NameSize,
                       saveFolder != nullptr ? saveFolder : "") == 0)
      return 0;
    format = FormatFromName(name);
    CutAtLastSeparator(name);
    if (format != FormatFlash)
      std::snprintf(target, sizeof target, "%s", name);
  }

  std::uint32_t slot = record.JobSlot.load() % VideoJobCount;
  VideoJob& job = record.VideoJobs[slot];
  record.CollectTarget.Set(target);
  record.CollectFormat = format;
  record.CollectOwner = owner;
  record.CollectListUrl.Set(listUrl != nullptr ? listUrl : "");
  record.CollectDir.Set(name);
  job.StartEntry = entry;
  job.ConvertBase.Clear();
  // The target is in place before the download starts: a download that ends
  // at once must find it there to empty it, or the conversion would wait on.
  job.ConvertTarget.Set(format != FormatFlash ? target : "");
  StartVideoThread(DownloadSortedList, slot);
  if (format != FormatFlash)
    StartVideoThread(ConvertJob, slot);
  record.JobSlot = (slot + 1) % VideoJobCount;
  return 0;
}
