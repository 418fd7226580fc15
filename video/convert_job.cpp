// The conversion job. It polls the drop place of its slot for "<stem>~k",
// k from 1 to 19, with the stem the download job announced last; a file
// there is whole, since downloads are renamed into place. Each file is
// converted by ffmpeg (or taken as it is for MP4), copied to the target
// folder under a temporary name and renamed, and only then are the output and
// the source deleted. A conversion or copy that fails leaves the source in
// the folder, says why on the job's status line, and the file is not tried
// again by this job; the job goes on with the next file, also when ffmpeg's
// progress stands still for [Video] FfmpegStall seconds. It ends some 51
// passes after the download job has emptied ConvertTarget.
#include "panel/panel_state.h"
#include "panel/tips.h"
#include "platform/process.h"
#include "video/convert.h"
#include "video/video_jobs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <set>

namespace {

constexpr int HighestNumber = 19;
constexpr int IdlePasses = 50;

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
  ProcessHoldFile(temp);
  int out = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (out < 0) {
    ProcessLetGoFile(temp);
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
  ProcessLetGoFile(temp);
  return why;
}

} // namespace

int ConvertJob(std::uint32_t slot) {
  if (slot >= VideoJobCount)
    return 0;
  VideoJob& job = VideoCollect().VideoJobs[slot];
  const std::uint32_t format = VideoCollect().CollectFormat.load();
  const std::string target = job.ConvertTarget.Get();
  const JobLine line = LineOf(format);

  // The first file. A download job that ends without one empties the
  // target, and then no file will come.
  // The download job's hand-over of a stem cuts a wait short, so a finished
  // download is taken up at once; idle passes keep their pace.
  std::uint64_t before = job.ConvertBase.Version();
  while (job.ConvertBase.Empty()) {
    if (job.ConvertTarget.Empty())
      break;
    VideoSleepUnlessSet(100, job.ConvertBase, before);
  }

  const int stallMs = FfmpegStallSeconds() * 1000;
  std::set<std::string> failed; // sources that stay where they are
  int idle = 0;
  while (true) {
    std::uint64_t now = job.ConvertBase.Version();
    std::string base = job.ConvertBase.Get();
    std::string source;
    int k = 0;
    for (int n = 1; n <= HighestNumber && !base.empty(); ++n) {
      std::string candidate = base + "~" + std::to_string(n);
      if (failed.count(candidate) || !IsFile(candidate))
        continue;
      idle = 0;
      source = candidate;
      k = n;
      break;
    }
    ++idle;
    VideoSleepUnlessSet(600, job.ConvertBase, before);
    before = now;
    if (idle > IdlePasses && job.ConvertTarget.Empty())
      break;
    if (source.empty())
      continue;

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
      ProcessHoldFile(output); // an exit now leaves the source for the next run
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
        unlink(output.c_str());
      ProcessLetGoFile(output);
      failed.insert(source);
      Show(line, "Converting " + display + " video failed: " + why);
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
      unlink(output.c_str());
    ProcessLetGoFile(output);
    if (!why.empty()) {
      failed.insert(source);
      Show(line, (format == FormatPhone ? "Upload " : "Copy ") + display + " video failed: " + why);
      continue;
    }
    unlink(source.c_str());
    VideoSleep(300);
  }

  Show(line, std::string());
  return 0;
}
