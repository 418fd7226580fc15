// Rebuilds killed at random points: a child process rebuilds both menus and
// is killed with SIGKILL after a random delay, many times over; each state
// file and menu page must then be whole, the old one or the new one.
#include "library_fixture.h"

#include "library/menus.h"

#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <optional>
#include <random>
#include <thread>

namespace {

class KilledRebuild : public LibraryFolder {
 protected:
  using Snapshot = std::vector<std::optional<std::string>>;

  std::vector<std::string> Files() {
    return {GameIndex(), GameMenu(), MediaIndex(), MediaMenu(), program + "/Video/v1.flv.htw"};
  }
  Snapshot Take() {
    Snapshot s;
    for (const std::string& f : Files())
      s.push_back(Exists(f) ? std::optional<std::string>(ReadText(f)) : std::nullopt);
    return s;
  }
  void Restore(const Snapshot& s) {
    for (std::size_t i = 0; i < s.size(); ++i)
      s[i] ? WriteText(Files()[i], *s[i]) : (void)unlink(Files()[i].c_str());
  }
  void RebuildBoth() {
    RebuildGameMenu(GameMenu().c_str(), (program + "/Game").c_str(), "*.swf,*.htm,*.html");
    RebuildMediaMenu(MediaMenu().c_str(), (program + "/Video").c_str(), "*.flv,*.avi");
  }
  // Runs the rebuilds in a child; kills it after delay unless it ends first.
  // Result: whether the child was killed.
  bool RunChild(std::chrono::microseconds delay) {
    pid_t pid = fork();
    if (pid == 0) {
      RebuildBoth();
      _exit(0);
    }
    auto deadline = std::chrono::steady_clock::now() + delay;
    int status = 0;
    while (std::chrono::steady_clock::now() < deadline) {
      if (waitpid(pid, &status, WNOHANG) == pid)
        return false;
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    if (waitpid(pid, &status, WNOHANG) == pid)
      return false;
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return true;
  }
};

TEST_F(KilledRebuild, LeavesEveryFileOldOrNew) {
  for (int d = 0; d < 10; ++d)
    for (int g = 0; g < 30; ++g)
      AddFile("Game/d" + std::to_string(d) + "/g" + std::to_string(g) + ".swf");
  for (int v = 0; v < 40; ++v)
    AddFile("Video/v" + std::to_string(v) + (v % 2 ? ".flv" : ".avi"));
  RebuildBoth();
  const Snapshot before = Take();
  // The change: new games (the index is rewritten), one video gone (the
  // media index is dropped), the player page of v1 rewritten with a new body.
  for (int g = 0; g < 20; ++g)
    AddFile("Game/new" + std::to_string(g) + ".swf");
  unlink((program + "/Video/v0.avi").c_str());
  WriteText(program + "/Video/v1.flv.htw", "an older page");
  const Snapshot old = Take();

  auto start = std::chrono::steady_clock::now();
  ASSERT_FALSE(RunChild(std::chrono::seconds(60)));
  auto full = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);
  const Snapshot fresh = Take();
  ASSERT_NE(fresh[0], old[0]);
  ASSERT_FALSE(fresh[2].has_value());
  ASSERT_NE(fresh[4], old[4]);

  std::mt19937 random(12345);
  std::uniform_int_distribution<long> at(0, full.count());
  std::vector<std::string> files = Files();
  int killed = 0;
  for (int round = 0; round < 80; ++round) {
    Restore(old);
    killed += RunChild(std::chrono::microseconds(at(random)));
    Snapshot now = Take();
    for (std::size_t i = 0; i < files.size(); ++i)
      EXPECT_TRUE(now[i] == old[i] || now[i] == fresh[i])
          << "round " << round << ": " << files[i] << " is torn";
  }
  EXPECT_GT(killed, 20);
  // Whatever was left behind, the next rebuild ends in the new state.
  Restore(old);
  RebuildBoth();
  EXPECT_EQ(Take(), fresh);
}

} // namespace
