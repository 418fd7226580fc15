// The records of the video road, shared by the request (CollectVideo), the
// download job (DownloadSortedList) and the conversion job (ConvertJob).
//
// The request fills the Collect* fields of the latest request and one slot of
// the ring VideoJobs, then starts the threads; each thread copies what it
// needs as its first act. The records live for the whole process (they are
// never destroyed), since jobs have no stop and may still run at exit. Texts
// that two threads share are JobText records with a lock of their own, always
// cut to fit their size with the end mark.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "platform/win.h"

// A text of at most Size - 1 bytes, written by one thread and read by others.
// Each Set counts as a change that a reader may wait for.
template <std::size_t Size> class JobText {
 public:
  static constexpr std::size_t Capacity = Size;
  void Set(const std::string& text) {
    {
      std::lock_guard<std::mutex> guard(lock_);
      std::size_t n = text.size() < Size - 1 ? text.size() : Size - 1;
      std::memcpy(text_, text.data(), n);
      text_[n] = 0;
      ++version_;
    }
    changed_.notify_all();
  }
  // How many times the text was set so far.
  std::uint64_t Version() const {
    std::lock_guard<std::mutex> guard(lock_);
    return version_;
  }
  // Waits up to milliseconds unless the text is set anew after version.
  // True when it was.
  bool WaitForChange(std::uint64_t version, unsigned milliseconds) const {
    std::unique_lock<std::mutex> guard(lock_);
    return changed_.wait_for(guard, std::chrono::milliseconds(milliseconds),
                             [&] { return version_ != version; });
  }
  std::string Get() const {
    std::lock_guard<std::mutex> guard(lock_);
    return std::string(text_);
  }
  bool Empty() const {
    std::lock_guard<std::mutex> guard(lock_);
    return text_[0] == 0;
  }
  void Clear() { Set(std::string()); }

 private:
  mutable std::mutex lock_;
  mutable std::condition_variable changed_;
  std::uint64_t version_ = 0;
  char text_[Size] = {};
};

constexpr std::size_t VideoJobCount = 10;

// Format codes (CollectFormat): 0 keeps a Flash video; anything else is
// converted by a ConvertJob; 10 to 29 are the MPEG family; from 100 up the
// job belongs to the phone line (PhoneStatus, zone 21) instead of the collect
// line (CollectStatus, zone 20).
constexpr std::uint32_t FormatFlash = 0;
constexpr std::uint32_t FormatAvi = 2;
constexpr std::uint32_t FormatWmv = 3;
constexpr std::uint32_t FormatMp4 = 4;
constexpr std::uint32_t FormatPhone = 100;

// A download handed to the conversion: the dropped file "<stem>~<n>", its
// entry number n, and where the archive records its delivery (an empty key:
// nowhere).
struct ReadyFile {
  std::string path;
  int number = 0;
  std::string archiveSection;
  std::string archiveKey;
};

// The hand-over from the download job to the conversion job, in order: every
// download that is pushed is popped once, however many come during one
// conversion.
class ReadyQueue {
 public:
  void Push(ReadyFile file) {
    std::lock_guard<std::mutex> guard(lock_);
    files_.push_back(std::move(file));
  }
  bool Pop(ReadyFile& file) {
    std::lock_guard<std::mutex> guard(lock_);
    if (files_.empty())
      return false;
    file = std::move(files_.front());
    files_.pop_front();
    return true;
  }
  bool Empty() const {
    std::lock_guard<std::mutex> guard(lock_);
    return files_.empty();
  }
  void Clear() {
    std::lock_guard<std::mutex> guard(lock_);
    files_.clear();
  }

 private:
  mutable std::mutex lock_;
  std::deque<ReadyFile> files_;
};

// One slot of the ring.
struct VideoJob {
  // 0: the whole list; k from 1: entry k alone.
  std::atomic<std::uint32_t> StartEntry{0};
  // Path and name stem of the latest file ready for conversion, without the
  // "~k" at its end. Empty until the job's first download is done. Set after
  // each push to Ready, so a change of it wakes the conversion job.
  JobText<260> ConvertBase;
  // Every file ready for conversion, oldest first.
  ReadyQueue Ready;
  // Entries of the job that were delivered before and are still there; set
  // by the download job before it empties ConvertTarget.
  std::atomic<int> AlreadyThere{0};
  // Folder for converted files; not empty while the download job runs, which
  // empties it at its end: the sign for ConvertJob that no file will follow.
  JobText<260> ConvertTarget;
};

struct VideoCollectRecord {
  JobText<512> CollectListUrl; // address of the list page
  JobText<260> CollectDir;     // where finished downloads land
  std::atomic<std::uint32_t> CollectFormat{0};
  std::atomic<Hwnd> CollectOwner{0}; // window of the request, for UpdateTip
  JobText<512> CollectTarget;        // folder for converted files (dialog fills <= 256)
  std::array<VideoJob, VideoJobCount> VideoJobs;
  std::atomic<std::uint32_t> JobSlot{0}; // slot of the next job, 0 to 9
};

// The process's one record; never destroyed.
VideoCollectRecord& VideoCollect();

// Puts every field back to its start value. Tests start each case from here.
void ResetVideoCollect();

// Thread bodies, each started with its slot (0 to 9). DownloadSortedList's
// result is the number of entries; ConvertJob's is 0. Neither is used.
int DownloadSortedList(std::uint32_t slot);
int ConvertJob(std::uint32_t slot);

// Starts body(slot) on a thread of its own and leaves it running.
void StartVideoThread(int (*body)(std::uint32_t), std::uint32_t slot);

// How many threads that StartVideoThread started are still at work.
int RunningVideoThreads();

// The pacing of the video jobs (their Sleep). Tests may shorten or count it:
// a null function goes back to the real sleep.
void VideoSleep(unsigned milliseconds);
// VideoSleep that a hand-over cuts short: it returns at once, or as soon as
// text is set anew, when text has changed since version.
void VideoSleepUnlessSet(unsigned milliseconds, const JobText<260>& text, std::uint64_t version);
void SetVideoSleepForTests(void (*sleep)(unsigned milliseconds));
