// The download job of a video request. One entry at a time: the entry's link
// becomes the address of its watch page, the page's doubly escaped markers
// (or the resolver) give the direct address, the file is downloaded into the
// system's Temp folder and then either kept as a Flash video under its
// cleaned title or dropped as "<stem>~<n>" for the conversion job. A file
// only ever appears under its final name when it is whole.
#include "video/sorted_list.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <vector>

#include "library/menus.h"
#include "panel/panel_state.h"
#include "panel/tips.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/sysdirs.h"
#include "platform/url_download.h"
#include "shell/leftovers.h"
#include "shell/module_path.h"
#include "shell/settings.h"
#include "video/convert.h"
#include "video/delivery.h"
#include "video/resolver.h"
#include "video/scanner.h"
#include "video/video_jobs.h"
#include "web/download.h"
#include "web/url_text.h"

namespace {

constexpr const char* MediaPatterns = "*.flv,*.mpg,*.wmv,*.avi,*.mov,*.mp4,*.rm,*.rmvb";
constexpr std::size_t WorkTextSize = 1024;
constexpr std::size_t PathSize = 260;
constexpr std::size_t NameMax = 255; // one name in a folder, in bytes
constexpr long long DefaultMaxMediaBytes = 4LL << 30;
constexpr long long DefaultReserveBytes = 256LL << 20;

std::atomic<long> mediaStallSeconds{60};

// The line a job reports on: the phone's for formats from 100 up.
struct JobLine {
  StatusLine* line;
  Hwnd owner;
  int zone;

  void Show(const std::string& text) const {
    line->Set(text);
    PanelState& p = Panel();
    UpdateTip(owner, p.TooltipWindow.load(), zone, p.PanelRotation.load());
  }
};

// The share done of a download, behind the line's text; shown at most twice
// a second and only when it changed.
struct DownloadShare {
  const JobLine* line;
  std::string text;
  int shown = -1;
  std::chrono::steady_clock::time_point last{};
};

void OnDownloadProgress(void* context, long long received, long long total) {
  DownloadShare& share = *static_cast<DownloadShare*>(context);
  if (total <= 0 || received < 0)
    return;
  int percent = static_cast<int>(received >= total ? 100 : received * 100 / total);
  auto now = std::chrono::steady_clock::now();
  if (percent == share.shown || now - share.last < std::chrono::milliseconds(500))
    return;
  share.shown = percent;
  share.last = now;
  share.line->Show(share.text + " " + std::to_string(percent) + "%");
}

const char* OwnEnding(const std::string& head);

// A [Video] size setting of Define.ini in bytes, fallback when not set.
long long VideoBytesSetting(const char* key, long long fallback) {
  char path[PathSize] = "";
  ModuleFilePath(0, path, "Define.ini");
  char value[ProfileValueSize] = "";
  ProfileRead("Video", key, value, path);
  char* end = nullptr;
  long long bytes = std::strtoll(value, &end, 10);
  return end != value && bytes >= 0 ? bytes : fallback;
}

long long MediaReserveBytes() {
  return VideoBytesSetting("ReserveBytes", DefaultReserveBytes);
}

// The media at url into path: at most [Video] MaxBytes, stopped at the free
// reserve, with no cache copy; a body that no container reader knows is not
// kept. Result: 0 for a video at path, DownloadBelowReserve, else nonzero.
int DownloadMedia(const char* url, const std::string& path, DownloadShare& share) {
  DownloadOptions options;
  options.stallSeconds = mediaStallSeconds.load();
  options.progress = OnDownloadProgress;
  options.progressContext = &share;
  options.maxBytes = VideoBytesSetting("MaxBytes", DefaultMaxMediaBytes);
  options.reserveBytes = MediaReserveBytes();
  int result = DownloadUrlToFile(url, path.c_str(), nullptr, options);
  // A container's own signature spares the prober's run; anything else is
  // kept only when the prober reads it as a video container.
  std::string head = result == 0 ? FirstBytes(path, 12) : std::string();
  if (result == 0 && head.rfind("FLV", 0) != 0 && std::strcmp(OwnEnding(head), ".video") == 0 &&
      !FfmpegKnowsContainer(path)) {
    unlink(path.c_str());
    result = -1;
  }
  return result;
}

// Key n of section in the list, cut to the entry's buffer. The list came
// from the network, so it is read as it stands.
void ReadListValue(const char* section, std::uint32_t n, char* out, const std::string& listPath) {
  char key[16];
  std::snprintf(key, sizeof key, "%u", n);
  char value[ProfileValueSize] = "";
  ProfileReadRaw(section, key, value, listPath.c_str());
  std::snprintf(out, ListTextSize, "%s", value);
}

// The value of a "<head>%7Chttp%3A..." field from its sixth character on,
// percent-decoded twice: the page holds the address escaped twice.
void DecodeMarkedAddress(const char* work, char* out) {
  char once[WorkTextSize] = "";
  if (std::strlen(work) <= 5)
    return;
  DecodePercent(work + 5, once);
  DecodePercent(once, out);
}

// A text cut to at most size bytes without splitting a UTF-8 character.
std::string CutText(const std::string& text, std::size_t size) {
  if (text.size() <= size)
    return text;
  std::size_t end = size;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
    --end;
  return text.substr(0, end);
}

std::string FolderOf(const std::string& path) {
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

// A private name in folder for a file that is still being written.
std::string PartPath(const std::string& folder, int* fd) {
  std::string pattern = folder + "/.skerry-part-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  *fd = mkostemp(name.data(), O_CLOEXEC);
  // Locked for as long as fd is open, so a start's sweep leaves it alone.
  if (*fd >= 0)
    flock(*fd, LOCK_EX | LOCK_NB);
  return *fd >= 0 ? std::string(name.data()) : std::string();
}

bool CopyInto(int out, const std::string& source) {
  int in = open(source.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0)
    return false;
  std::vector<char> buffer(1 << 20);
  bool ok = true;
  for (;;) {
    ssize_t got = read(in, buffer.data(), buffer.size());
    if (got == 0)
      break;
    if (got < 0) {
      ok = false;
      break;
    }
    if (!WriteAll(out, buffer.data(), static_cast<std::size_t>(got))) {
      ok = false;
      break;
    }
  }
  close(in);
  return ok;
}

// A copy of source at target, replaced whole: written under a private name
// beside target, then renamed.
bool CopyFileTo(const std::string& source, const std::string& target) {
  int fd = -1;
  std::string part = PartPath(FolderOf(target), &fd);
  if (part.empty())
    return false;
  bool ok = CopyInto(fd, source);
  ok = close(fd) == 0 && ok && rename(part.c_str(), target.c_str()) == 0;
  if (!ok)
    unlink(part.c_str());
  return ok;
}

// Moves source to target (overwriting) so that target is whole the moment it
// appears: a rename where both lie on one file system, else a whole copy.
// Source is gone afterwards when this succeeded.
bool PlaceWhole(const std::string& source, const std::string& target) {
  if (rename(source.c_str(), target.c_str()) == 0)
    return true;
  if (!CopyFileTo(source, target))
    return false;
  unlink(source.c_str());
  return true;
}

// The ending that names the container a file's first bytes show.
const char* OwnEnding(const std::string& head) {
  if (head.size() >= 8 && head.compare(4, 4, "ftyp") == 0)
    return ".mp4";
  if (head.rfind("\x1A\x45\xDF\xA3", 0) == 0)
    return ".webm";
  if (head.rfind("RIFF", 0) == 0)
    return ".avi";
  if (head.rfind("\x30\x26\xB2\x75", 0) == 0)
    return ".wmv";
  if (head.rfind(std::string("\0\0\1\xBA", 4), 0) == 0)
    return ".mpg";
  return ".video";
}

// Cleaned title cut so that it and ending make one name of a folder.
std::string NameWithEnding(const std::string& title, const char* ending) {
  return CutText(title, NameMax - std::strlen(ending)) + ending;
}

} // namespace

void RebuildVideoMenu() {
  char menu[PathSize] = "";
  char video[PathSize] = "";
  ModuleFilePath(0, menu, "Web\\MenuVideo.htm");
  ModuleFilePath(0, video, "Video");
  RebuildMediaMenu(menu, video, MediaPatterns);
}

int ListTitleCount(const char* title) {
  std::uint32_t a = 0, f = 0, t = 0;
  for (const char* p = title; *p != '\0'; ++p) {
    char c = *p;
    if (c == '/') {
      if (a > 20 || f != 0) { // a date's slash, or a position seen before
        f = a;
        a = 0;
        continue;
      }
      t = 0;
      for (const char* q = p + 1; *q >= '0' && *q <= '9'; ++q)
        t = t > (INT_MAX - 9) / 10 ? INT_MAX : t * 10u + static_cast<std::uint32_t>(*q - '0');
      if (t != 0)
        break;
    } else if (c >= '0' && c <= '9') {
      a = a * 10u + static_cast<std::uint32_t>(c - '0');
    } else if (c != ' ') {
      a = 0;
    }
  }
  if (t == 0 || a == 0)
    return 1;
  return static_cast<int>(t);
}

int TitleDate(const char* title) {
  int v = 0;
  for (const char* p = title; *p != '\0'; ++p) {
    if (*p >= '0' && *p <= '9')
      v = v * 10 + (*p - '0');
    else if (*p != '-') {
      v = 0;
      continue;
    }
    if (v > 19800000)
      return v;
  }
  return 0;
}

void CleanVideoTitle(char* title) {
  static const char from[] = ".:<>\\/\"*?#%";
  static const char to[] = "_=[]--'~!~^";
  for (char* p = title; *p != '\0'; ++p) {
    if (static_cast<unsigned char>(*p) < 0x20 || *p == 0x7F) {
      *p = '_';
      continue;
    }
    const char* hit = std::strchr(from, *p);
    if (hit != nullptr)
      *p = to[hit - from];
  }
}

std::string ResolveVideoAddress(const char* pageUrl) {
  int seconds = ResolverSeconds();
  ProcessRequest request;
  std::vector<std::string> words = ResolverWords();
  if (!words.empty()) {
    request.program = words[0];
    request.arguments.assign(words.begin() + 1, words.end());
  }
  // The page address comes from the list: it reaches the resolver only as a
  // web address and only behind the end of its options, so an entry can
  // never be read as an option of it.
  if (request.program.empty() || pageUrl == nullptr || WebSchemeLength(pageUrl) == 0)
    return std::string();
  request.arguments.emplace_back("--");
  request.arguments.emplace_back(pageUrl);

  int pipeFds[2];
  if (pipe2(pipeFds, O_CLOEXEC) != 0)
    return std::string();
  int quiet = open("/dev/null", O_RDWR | O_CLOEXEC);
  request.inputFd = quiet;
  request.outputFd = pipeFds[1];
  request.errorFd = quiet;
  request.ownGroup = true;
  ProcessResult process = ProcessStart(request);
  close(pipeFds[1]);
  if (quiet >= 0)
    close(quiet);

  // The first line is all that counts: it is taken as soon as it is whole,
  // and a resolver that lingers behind it is ended.
  std::string printed;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  bool timedOut = false;
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      timedOut = true;
      break;
    }
    pollfd waitFor{pipeFds[0], POLLIN, 0};
    int ready = poll(&waitFor, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR)
      continue;
    if (ready <= 0) {
      timedOut = ready == 0;
      break;
    }
    char chunk[4096];
    ssize_t got = read(pipeFds[0], chunk, sizeof chunk);
    if (got <= 0)
      break;
    printed.append(chunk, static_cast<std::size_t>(got));
    if (printed.find('\n') != std::string::npos || printed.size() >= WorkTextSize)
      break;
  }
  close(pipeFds[0]);
  if (timedOut || !ProcessWait(&process, 0))
    ProcessKill(&process);
  if (timedOut && printed.find('\n') == std::string::npos)
    return std::string();

  std::string line = printed.substr(0, printed.find('\n'));
  if (!line.empty() && line.back() == '\r')
    line.pop_back();
  if (WebSchemeLength(line.c_str()) == 0 || line.size() >= ListTextSize)
    return std::string();
  return line;
}

std::string KeepAsFlashVideo(const std::string& source, const std::string& target) {
  std::string head = FirstBytes(source, 12);
  if (head.empty())
    return std::string();
  if (head.rfind("FLV", 0) == 0)
    return PlaceWhole(source, target) ? target : std::string();

  int fd = -1;
  std::string part = PartPath(FolderOf(target), &fd);
  if (part.empty())
    return std::string();
  // fd stays open while ffmpeg writes part (the same file): it holds the lock.
  // Source and part are absolute paths, so neither reads as an option.
  const std::vector<std::vector<std::string>> tries = {
      {"-map", "0:v:0?", "-map", "0:a:0?", "-c", "copy", "-f", "flv", part},
      {"-map", "0:v:0?", "-map", "0:a:0?", "-c:v", "libx264", "-preset", "veryfast", "-c:a", "aac",
       "-f", "flv", part},
  };
  for (const auto& output : tries) {
    std::vector<std::string> arguments = {"-y"};
    for (const std::string& word : FfmpegLocalInput(source))
      arguments.push_back(word);
    arguments.insert(arguments.end(), output.begin(), output.end());
    FfmpegOutcome outcome = RunFfmpeg(arguments, nullptr, -1, FfmpegStallSeconds() * 1000);
    struct stat st {};
    if (outcome.ok && stat(part.c_str(), &st) == 0 && st.st_size > 0 &&
        FirstBytes(part, 3) == "FLV" && rename(part.c_str(), target.c_str()) == 0) {
      close(fd);
      unlink(source.c_str());
      return target;
    }
  }
  close(fd);
  unlink(part.c_str());

  // No Flash video can be made of it: the video is kept under its own ending.
  std::string stem = target.substr(0, target.size() - 4);
  std::string folder = FolderOf(target);
  std::string name = stem.substr(folder.size() + 1);
  std::string kept = folder + "/" + NameWithEnding(name, OwnEnding(head));
  return PlaceWhole(source, kept) ? kept : std::string();
}

void SetMediaStallForTests(long seconds) {
  mediaStallSeconds = seconds > 0 ? seconds : 60;
}

int DownloadSortedList(std::uint32_t slot) {
  VideoCollectRecord& record = VideoCollect();
  std::string listUrl = record.CollectListUrl.Get();
  std::string folder = record.CollectDir.Get();
  std::uint32_t format = record.CollectFormat.load();
  VideoJob& job = record.VideoJobs[slot % VideoJobCount];
  std::uint32_t startEntry = job.StartEntry.load();
  bool phone = format >= FormatPhone;
  PanelState& panel = Panel();
  JobLine line{phone ? &panel.PhoneStatus : &panel.CollectStatus, record.CollectOwner.load(),
               phone ? 21 : 20};

  // The list lands in Sort.htm whole (after a failure the list of an earlier
  // job is read, if one lies there); the job reads a copy of its own, so a
  // job of another slot that runs at once can't change it underneath.
  std::string temp = SystemSubfolder("Temp");
  // What a killed run left where this job writes goes before it writes.
  for (const std::string& place : {temp, folder, job.ConvertTarget.Get()})
    SweepRoadTemporaries(place, false);
  std::string sharedList = temp + "/Sort.htm";
  std::string slotName = std::to_string(slot % VideoJobCount);
  std::string fetched = sharedList + "." + slotName + ".part";
  if (URLDownloadToFile(listUrl.c_str(), fetched.c_str()) == 0)
    rename(fetched.c_str(), sharedList.c_str());
  unlink(fetched.c_str());
  std::string listPath = temp + "/Sort" + slotName + ".htm";
  if (!CopyFileTo(sharedList, listPath))
    unlink(listPath.c_str());

  // What the list delivered to this target before is not fetched again.
  std::string target = format == 0 ? folder : job.ConvertTarget.Get();
  std::string archive = ArchiveSection(listUrl, target, format);
  int delivered = 0, already = 0;
  std::string failure;
  // A title that repeats in the list names two videos: the later one gets
  // its number, never the file of another entry.
  std::set<std::string> named;
  std::map<std::string, std::string> archived = ArchivedFiles(archive);

  std::uint32_t total = 1;
  std::uint32_t n = startEntry == 0 ? 1 : startEntry;
  for (;; ++n) {
    char link[ListTextSize] = "";
    char title[ListTextSize] = "";
    ReadListValue("Sorted", n, link, listPath);
    ReadListValue("Title", n, title, listPath);
    if (startEntry == 0 && n == 1)
      total = static_cast<std::uint32_t>(ListTitleCount(title));
    std::string key = link[0] != '\0' ? ArchiveKey(link) : std::string();
    if (!key.empty() && ArchivedAndThere(archive, key)) {
      ++already;
      if (n >= total)
        break;
      continue;
    }

    // The watch page of the entry; a link without "/v/", or one that is no
    // web address, has none.
    char page[ListTextSize] = "";
    const char* cut = nullptr;
    for (const char* p = std::strstr(link, "/v/"); p != nullptr; p = std::strstr(p + 1, "/v/"))
      cut = p;
    if (cut != nullptr && WebSchemeLength(link) != 0) {
      std::string site(link, static_cast<std::size_t>(cut - link));
      std::snprintf(page, sizeof page, format == 0 ? "%s/watch?v=%s" : "%s/watch?v=%s&fmt=18",
                    site.c_str(), cut + 3);
    }

    char work[WorkTextSize] = "";
    char secondTry[ListTextSize] = "";
    char direct[WorkTextSize] = "";
    if (page[0] != '\0') {
      // One fetch of the page for both scans.
      std::vector<char> text;
      long length = FetchPageText(page, text);
      auto scan = [&](const char* marker) {
        return length < 0 ? 0
                          : ScanPageText(text.data(), static_cast<std::size_t>(length), page,
                                         ScanFieldValue, marker, work);
      };
      if (scan("C5%7Chttp%3A") > 20)
        DecodeMarkedAddress(work, secondTry);
      scan(format == 0 ? "34%7Chttp%3A" : "18%7Chttp%3A");
      DecodeMarkedAddress(work, direct);
      if (direct[0] == '\0' && !ResolverDownloads()) {
        std::string resolved = ResolveVideoAddress(page);
        std::snprintf(direct, sizeof direct, "%s", resolved.c_str());
      }
    }

    CleanVideoTitle(title);
    if (title[0] == '\0') // no hidden ".flv": an untitled entry goes by its number
      std::snprintf(title, sizeof title, "%u", n);
    char text[WorkTextSize];
    std::snprintf(text, sizeof text, "Download %u / %u video now...", n, total);
    line.Show(text);
    DownloadShare share{&line, text};

    char tempName[64];
    std::snprintf(tempName, sizeof tempName, "/cv%u-%u.%s", n, total, slotName.c_str());
    std::string tempPath = temp + tempName;
    int got = -1;
    bool fetches = direct[0] != '\0' || page[0] != '\0';
    long long reserve = MediaReserveBytes();
    bool room = !fetches || (KeepsFreeBytes(temp, reserve) && KeepsFreeBytes(folder, reserve));
    if (!room)
      got = DownloadBelowReserve;
    else if (direct[0] != '\0')
      got = DownloadMedia(direct, tempPath, share);
    if (got != 0 && got != DownloadBelowReserve && format != 0 && secondTry[0] != '\0')
      got = DownloadMedia(secondTry, tempPath, share);
    bool fetchedMedia = got == 0;
    std::string why;
    auto stopped = [&] {
      std::snprintf(text, sizeof text, "Download %u / %u video stopped: less than %lld MB free", n,
                    total, reserve >> 20);
      failure = text;
      line.Show(text);
    };
    if (got == DownloadBelowReserve) {
      stopped();
    } else if (!fetchedMedia) {
      if (direct[0] == '\0' && page[0] != '\0') {
        // The resolver fetches the stream itself; its share is the one shown.
        ResolverDownload fetch = DownloadWithResolver(
            page, tempPath, phone, VideoBytesSetting("MaxBytes", DefaultMaxMediaBytes), reserve,
            [&](int percent) { OnDownloadProgress(&share, percent, 100); });
        fetchedMedia = fetch.ok && FfmpegKnowsContainer(tempPath);
        why = !fetch.used ? "no video address" : fetch.ok ? "no video" : fetch.error;
        if (fetch.ok && !fetchedMedia)
          unlink(tempPath.c_str());
        if (fetch.belowReserve) {
          stopped();
          why.clear();
        }
      } else {
        why = page[0] == '\0' ? "no video address" : "download failed";
      }
    }
    if (!fetchedMedia && !why.empty()) {
      std::snprintf(text, sizeof text, "Download %u / %u video failed: %s", n, total, why.c_str());
      failure = text;
      line.Show(text);
    }

    // A folder that can't take the file: the download stays in Temp under
    // the name it would have had, and the line says so.
    auto keptInTemp = [&](const std::string& kept) {
      std::snprintf(text, sizeof text, "Download %u / %u video kept in %s: %s can't be written", n,
                    total, kept.c_str(), folder.c_str());
      line.Show(text);
    };
    if (fetchedMedia && format == 0) {
      std::string name = NameWithEnding(title, ".flv");
      auto owner = archived.find(folder + "/" + name);
      if (named.count(name) != 0 || (owner != archived.end() && owner->second != key))
        name = NameWithEnding(std::string(title) + " ~" + std::to_string(n), ".flv");
      named.insert(name);
      std::string kept = KeepAsFlashVideo(tempPath, folder + "/" + name);
      if (!kept.empty()) {
        ++delivered;
        if (!key.empty())
          ArchiveDelivered(archive, key, kept);
      } else {
        kept = KeepAsFlashVideo(tempPath, temp + "/" + name);
        if (!kept.empty())
          keptInTemp(kept);
      }
    } else if (fetchedMedia) {
      std::snprintf(text, sizeof text, "Download %u / %u video ok.", n, total);
      line.Show(text);
      int date = TitleDate(title);
      std::string stem = CutText(title, 8);
      for (char& c : stem)
        if (c == ' ')
          c = '_';
      char name[WorkTextSize];
      std::snprintf(name, sizeof name, "/%s%04d", stem.c_str(), date % 10000);
      // The stem is handed over once its file stands whole; one the record
      // can't hold would name a file nobody finds.
      for (const std::string& place : {folder, temp}) {
        std::string base = place + name;
        std::string dropped = base + "~" + std::to_string(n);
        if (dropped.size() < decltype(job.ConvertBase)::Capacity && PlaceWhole(tempPath, dropped)) {
          job.Ready.Push({dropped, static_cast<int>(n), archive, key});
          job.ConvertBase.Set(base);
          if (place != folder)
            keptInTemp(dropped);
          break;
        }
      }
    }
    unlink(tempPath.c_str());
    if (n >= total)
      break;
  }

  unlink(listPath.c_str());
  line.Show(std::string());
  job.AlreadyThere = already;
  job.ConvertTarget.Clear();
  job.ConvertBase.Set(job.ConvertBase.Get()); // wakes the conversion job to see the end
  RebuildVideoMenu();
  if (format == 0)
    EndVideoRoad(format, folder, delivered, already, failure);
  return static_cast<int>(total);
}
