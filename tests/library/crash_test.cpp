// A child rebuilding both menus, killed at random points: each index, menu
// and player page is then whole, the old one or the new one.
#include "library_fixture.h"

#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <optional>
#include <random>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Snapshot = std::vector<std::optional<std::string>>;

class KilledRebuild : public LibraryFolder {
 protected:
  Snapshot Take() {
    Snapshot s;
    for (const std::string& f : files)
      s.push_back(fs::exists(f) ? std::optional<std::string>(ReadWhole(f)) : std::nullopt);
    return s;
  }
  void Restore(const Snapshot& s) {
    for (std::size_t i = 0; i < s.size(); ++i)
      s[i] ? WriteWhole(files[i], *s[i]) : (void)fs::remove(files[i]);
  }
  // Whether the child, killed after delay unless it ended first, was killed.
  bool RunChild(std::chrono::microseconds delay) {
    pid_t pid = fork();
    if (pid == 0) {
      RebuildGame();
      RebuildMedia("*.flv,*.avi");
      _exit(0);
    }
    for (auto deadline = Clock::now() + delay; Clock::now() < deadline;) {
      if (waitpid(pid, nullptr, WNOHANG) == pid)
        return false;
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return true;
  }
  std::vector<std::string> files;
};

TEST_F(KilledRebuild, LeavesEveryFileOldOrNew) {
  files = {GameIndex(), GameMenu(), MediaIndex(), MediaMenu(), program + "/Video/v1.flv.htw"};
  for (int g = 0; g < 300; ++g)
    AddFile("Game/d" + std::to_string(g / 30) + "/g" + std::to_string(g) + ".swf");
  for (int v = 0; v < 40; ++v)
    AddFile("Video/v" + std::to_string(v) + (v % 2 ? ".flv" : ".avi"));
  ASSERT_FALSE(RunChild(std::chrono::seconds(60)));
  // The change: new games (the index is rewritten), one video gone (the
  // media index is dropped), the player page of v1 rewritten.
  for (int g = 0; g < 20; ++g)
    AddFile("Game/new" + std::to_string(g) + ".swf");
  fs::remove(program + "/Video/v0.avi");
  WriteWhole(files[4], "an older page");
  const Snapshot old = Take();
  auto start = Clock::now();
  ASSERT_FALSE(RunChild(std::chrono::seconds(60)));
  std::uniform_int_distribution<long> at(
      0, std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count());
  const Snapshot fresh = Take();
  ASSERT_NE(fresh[0], old[0]);
  ASSERT_FALSE(fresh[2].has_value());
  ASSERT_NE(fresh[4], old[4]);
  std::mt19937 random(12345);
  int killed = 0;
  for (int round = 0; round < 80; ++round) {
    Restore(old);
    killed += RunChild(std::chrono::microseconds(at(random)));
    Snapshot now = Take();
    for (std::size_t i = 0; i < now.size(); ++i)
      EXPECT_TRUE(now[i] == old[i] || now[i] == fresh[i]) << round << ": " << files[i] << " torn";
  }
  EXPECT_GT(killed, 20);
  // Whatever was left behind, the next rebuild ends in the new state.
  Restore(old);
  RunChild(std::chrono::seconds(60));
  EXPECT_EQ(Take(), fresh);
}

} // namespace
