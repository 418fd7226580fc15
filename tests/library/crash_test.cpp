// Whole-file replacement under the menus and its stale sweep; a child rebuilding both menus,
// killed at random points, leaves each index, menu and player page old or new, never torn.
#include "library_fixture.h"

#include "platform/files.h"

#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <chrono>
#include <optional>
#include <random>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Snapshot = std::vector<std::optional<std::string>>;

class Files : public LibraryFolder {};

TEST_F(Files, ReplacingAFileLeavesNoTemporary) {
  std::string path = program + "/Web/page.htm";
  ASSERT_TRUE(WriteFileAtomically(path, "one"));
  chmod(path.c_str(), 0640);
  ASSERT_TRUE(WriteFileAtomically(path, "two"));
  EXPECT_EQ(ReadWhole(path), "two");
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_FALSE(WriteFileAtomically(program + "/missing/page.htm", "x"));
  FileReplacement r;
  ASSERT_TRUE(BeginFileReplacement(path, r));
  AbandonFileReplacement(r);
  EXPECT_EQ(ReadWhole(path), "two");
  EXPECT_EQ(ListingOrder(program + "/Web"), std::vector<std::string>{"page.htm"});
  // Another writer's temporary file is left alone while it is young or held;
  // only one older than a minute that nobody holds is a killed writer's.
  ASSERT_TRUE(BeginFileReplacement(path, r));
  for (const char* name : {".page.htm.old000", ".page.htm.young0", ".PAGE.htm.other0"})
    WriteWhole(program + "/Web/" + name, "x");
  timeval old[2] = {{time(nullptr) - 120, 0}, {time(nullptr) - 120, 0}};
  for (const std::string& f :
       {program + "/Web/.page.htm.old000", r.temp, program + "/Web/.PAGE.htm.other0"})
    ASSERT_EQ(utimes(f.c_str(), old), 0);
  RemoveStaleTemporaries(path);
  EXPECT_THAT(ListingOrder(program + "/Web"),
              testing::UnorderedElementsAre(".PAGE.htm.other0",
                                            r.temp.substr(r.temp.rfind('/') + 1),
                                            ".page.htm.young0", "page.htm"));
  EXPECT_TRUE(FinishFileReplacement(r, "three"));
}

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
