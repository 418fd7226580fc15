// The conversion job. It takes the downloads of its slot in the order the
// download job handed them over (each a whole "<stem>~k", renamed into
// place), converts each by ffmpeg (or takes it as it is for MP4), copies it
// to the target folder under a temporary name and renames it, and only then
// deletes the output and the source. A conversion or copy that fails keeps
// the source under a name with its container's ending, says why on the
// job's status line, and the job goes on with the next file, also when
// ffmpeg's progress stands still for [Video] FfmpegStall seconds. It ends
// once the download job has emptied ConvertTarget and every file handed over
// is done.
#include "panel/panel_state.h"
#include "panel/tips.h"
#include "video/convert.h"
#include "video/delivery.h"
#include "video/sorted_list.h"
#include "video/video_jobs.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

using Clock = std::chrono::steady_clock;

// The line a job writes to, and its zone.
struct JobLine {
  StatusLine* line;
  int zone;
};

JobLine LineOf(std::uint32_t format) {
  if (format < FormatPhone)
    return {&Panel().CollectStatus, 20};
  return {&Panel().PhoneStatus, 21};
}

void Show(const JobLine& at, const std::string& text) {
  at.line->Set(text);
  UpdateTip(VideoCollect().CollectOwner.load(), Panel().TooltipWindow.load(), at.zone,
            Panel().PanelRotation.load());
}

std::string WithShare(const std::string& text, int percent) {
  return text + " " + std::to_string(percent) + "%";
}

bool IsFile(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

long long FileSize(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) ? st.st_size : -1;
}

// Copies from to to, overwriting, through a temporary file beside to, so a
// cut copy never stands under the final name. progress gets the share done
// at most twice a second. Empty result on success, else the reason.
std::string CopyFile(const std::string& from, const std::string& to,
                     const std::function<void(int)>& progress) {
  int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0)
    return std::strerror(errno);
  struct stat st {};
  fstat(in, &st);
  std::size_t slash = to.rfind('/');
  std::string temp = slash == std::string::npos
                         ? "." + to + ".part"
                         : to.substr(0, slash + 1) + "." + to.substr(slash + 1) + ".part";
  int out = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (out >= 0)
    flock(out, LOCK_EX | LOCK_NB); // held while it is written: a sweep leaves it
  if (out < 0) {
    std::string why = std::strerror(errno);
    close(in);
    return why;
  }
  std::string why;
  std::vector<char> buffer(1 << 20);
  long long done = 0;
  Clock::time_point last = Clock::now();
  while (why.empty()) {
    ssize_t got = read(in, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      why = std::strerror(errno);
    if (got <= 0)
      break;
    for (ssize_t put = 0; put < got && why.empty();) {
      ssize_t n = write(out, buffer.data() + put, static_cast<std::size_t>(got - put));
      if (n < 0 && errno != EINTR)
        why = std::strerror(errno);
      put += n > 0 ? n : 0;
    }
    done += got;
    if (progress && st.st_size > 0 && Clock::now() - last >= std::chrono::milliseconds(500)) {
      last = Clock::now();
      progress(static_cast<int>(done * 100 / st.st_size));
    }
  }
  close(in);
  // Phone mounts may not offer fsync at all; only a lost or full medium fails.
  if (why.empty() && fsync(out) != 0 && (errno == EIO || errno == ENOSPC || errno == EDQUOT))
    why = std::strerror(errno);
  if (close(out) != 0 && why.empty())
    why = std::strerror(errno);
  if (why.empty() && rename(temp.c_str(), to.c_str()) != 0)
    why = std::strerror(errno);
  if (!why.empty())
    unlink(temp.c_str());
  return why;
}

// The tool's output is gone once delivered or failed, and so is a player
// page that a menu rebuild of the download job's end may have written beside
// it while it stood.
void RemoveOutput(const std::string& output) {
  unlink(output.c_str());
  unlink((output + ".htw").c_str());
}

// A source that stays after a failure keeps an ending: the one of the
// container its first bytes show. The text to add to the status line.
std::string KeepWithEnding(const std::string& source) {
  std::string kept = source + MediaEnding(source);
  if (rename(source.c_str(), kept.c_str()) != 0)
    return std::string();
  std::size_t slash = kept.rfind('/');
  return ", kept as " + kept.substr(slash == std::string::npos ? 0 : slash + 1);
}

} // namespace

int ConvertJob(std::uint32_t slot) {
  if (slot >= VideoJobCount)
    return 0;
  VideoJob& job = VideoCollect().VideoJobs[slot];
  const std::uint32_t format = VideoCollect().CollectFormat.load();
  const std::string target = job.ConvertTarget.Get();
  const JobLine line = LineOf(format);

  // The download job hands files over in order through Ready and sets
  // ConvertBase behind each, which cuts a wait short; it empties
  // ConvertTarget at its end, and once every file handed over is done the
  // job ends too.
  const int stallMs = FfmpegStallSeconds() * 1000;
  int delivered = 0;
  std::string failure;
  while (true) {
    std::uint64_t before = job.ConvertBase.Version();
    ReadyFile ready;
    if (!job.Ready.Pop(ready)) {
      if (job.ConvertTarget.Empty() && job.Ready.Empty())
        break;
      VideoSleepUnlessSet(600, job.ConvertBase, before);
      continue;
    }
    const std::string& source = ready.path;
    if (!IsFile(source))
      continue;
    const int k = ready.number;

    std::size_t slash = source.rfind('/');
    const std::string display = slash == std::string::npos ? "/" + source : source.substr(slash);
    const std::string output = ConversionOutput(format, source, k);
    const std::string converting = "Converting " + display + " video now...";
    Show(line, converting);
    std::string why;
    if (output.empty()) {
      why = "no conversion for this format";
    } else if (output != source) {
      std::string ffmpeg = FfmpegPath();
      FfmpegOutcome run = RunFfmpeg(
          ConversionArguments(format, source, output, FfmpegBuild(ffmpeg)),
          [&](int percent) { Show(line, WithShare(converting, percent)); }, -1, stallMs);
      if (!run.ok)
        why = run.error;
      else if (FileSize(output) <= 0)
        why = "ffmpeg left no output";
    }
    if (!why.empty()) {
      if (output != source)
        RemoveOutput(output);
      failure = "Converting " + display + " video failed: " + why + KeepWithEnding(source);
      Show(line, failure);
      continue;
    }

    const std::string targetFile = ConversionTargetFile(format, target, display);
    const std::string copying = format == FormatPhone
                                    ? "Upload " + display + " video to phone now..."
                                    : "Copy " + display + " video to storage now...";
    Show(line, copying);
    why =
        CopyFile(output, targetFile, [&](int percent) { Show(line, WithShare(copying, percent)); });
    if (output != source)
      RemoveOutput(output);
    if (!why.empty()) {
      failure = (format == FormatPhone ? "Upload " : "Copy ") + display + " video failed: " + why +
                KeepWithEnding(source);
      Show(line, failure);
      continue;
    }
    unlink(source.c_str());
    ++delivered;
    if (!ready.archiveKey.empty())
      ArchiveDelivered(ready.archiveSection, ready.archiveKey, targetFile);
    Show(line, (format == FormatPhone ? "Upload " : "Copy ") + display + " video ok.");
    if (!job.ConvertTarget.Empty() || !job.Ready.Empty()) // no pause behind the last one
      VideoSleep(300);
  }

  // Pages only for what stands now that every conversion is done.
  RebuildVideoMenu();
  EndVideoRoad(format, target, delivered, job.AlreadyThere.load(), failure);
  return 0;
}
