#include "video/video_jobs.h"

#include <chrono>
#include <thread>

namespace {

std::atomic<void (*)(unsigned)> SleepHook{nullptr};
std::atomic<int> running{0};

} // namespace

VideoCollectRecord& VideoCollect() {
  // Jobs may still run while the process ends: the record is never destroyed.
  static VideoCollectRecord* record = new VideoCollectRecord;
  return *record;
}

void ResetVideoCollect() {
  VideoCollectRecord& v = VideoCollect();
  v.CollectListUrl.Clear();
  v.CollectDir.Clear();
  v.CollectFormat = 0;
  v.CollectOwner = 0;
  v.CollectTarget.Clear();
  for (VideoJob& job : v.VideoJobs) {
    job.StartEntry = 0;
    job.ConvertBase.Clear();
    job.Ready.Clear();
    job.AlreadyThere = 0;
    job.ConvertTarget.Clear();
  }
  v.JobSlot = 0;
}

void StartVideoThread(int (*body)(std::uint32_t), std::uint32_t slot) {
  ++running;
  std::thread([body, slot] {
    body(slot);
    --running;
  }).detach();
}

int RunningVideoThreads() {
  return running.load();
}

void VideoSleep(unsigned milliseconds) {
  void (*hook)(unsigned) = SleepHook.load();
  if (hook != nullptr) {
    hook(milliseconds);
    return;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void VideoSleepUnlessSet(unsigned milliseconds, const JobText<260>& text, std::uint64_t version) {
  if (text.Version() != version)
    return;
  void (*hook)(unsigned) = SleepHook.load();
  if (hook != nullptr)
    hook(milliseconds);
  else
    text.WaitForChange(version, milliseconds);
}

void SetVideoSleepForTests(void (*sleep)(unsigned milliseconds)) {
  SleepHook = sleep;
}
