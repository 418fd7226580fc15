// Child processes: argument vectors kept whole, environment additions, exit
// codes, programs that can't start, and children that must not outlive us.
#include <gtest/gtest.h>

#include <signal.h>

#include "platform/process.h"
#include "tests/carrier/carrier_fixture.h"

namespace {

TEST(Process, RunsWithoutShellAndReportsExit) {
  TempFolder dir("skerry-process");
  std::string script = dir.path + "/not executable";
  std::ofstream(script) << "#!/bin/sh\nexit 0\n";
  // clang-format off
  const struct { const char* name; ProcessRequest request; int exitCode; } rows[] = { // -1: can't start
      {"blanks stay one argument", {"/bin/sh", {"-c", "test $# -eq 1 && test \"$1\" = 'a b  c'", "sh", "a b  c"}, {}, false}, 0},
      {"no shell reads the argument", {"/bin/sh", {"-c", "exit 4", "x; exit 9"}, {}, false}, 4},
      {"environment added and replaced", {"/bin/sh", {"-c", "test \"$SK_A\" = 'x y' -a \"$HOME\" = /no"}, {"SK_A=x y", "HOME=/no"}, false}, 0},
      {"own session", {"/bin/sh", {"-c", "test $(ps -o sid= -p $$) -eq $$"}, {}, true}, 0},
      {"killed by a signal", {"/bin/sh", {"-c", "kill -9 $$"}, {}, false}, 128 + SIGKILL},
      {"missing program", {dir.path + "/missing", {}, {}, false}, -1},
      {"not executable", {script, {}, {}, false}, -1},
  };
  // clang-format on
  for (const auto& row : rows) {
    ProcessResult r = ProcessRun(row.request, 10000);
    EXPECT_EQ(r.pid > 0, row.exitCode >= 0) << row.name << ": " << r.error;
    EXPECT_EQ(r.error.empty(), row.exitCode >= 0) << row.name;
    EXPECT_EQ(r.exitCode, row.exitCode) << row.name;
  }
}

TEST(Process, KillReapsAndForgottenChildLeavesNoZombie) {
  ProcessResult r = ProcessStart({"sleep", {"30"}, {}, false});
  ProcessKill(&r);
  EXPECT_EQ(r.exitCode, 128 + SIGKILL);
  EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(r.pid)));

  r = ProcessStart({"true", {}, {}, false});
  ProcessForget(r.pid);
  std::string proc = "/proc/" + std::to_string(r.pid);
  for (int i = 0; i < 200 && std::filesystem::exists(proc); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ProcessReap();
  }
  EXPECT_FALSE(std::filesystem::exists(proc));
}

// The end of the process (in a child of the test, as it lasts): a Pane-like session and a
// road child with a helper of its own are gone, held files removed, and nothing starts after.
TEST(Process, EndAllLeavesNothingRunningAndRemovesHeldFiles) {
  TempFolder dir("skerry-process-end");
  auto ended = [](const std::string& pid) {
    std::ifstream stat("/proc/" + pid + "/stat");
    std::string number, name, state;
    return !(stat >> number >> name >> state) || state == "Z";
  };
  auto run = [&] {
    std::string helper = dir.path + "/helper", held = dir.path + "/out.part";
    std::ofstream(held) << "half";
    ProcessHoldFile(held);
    std::ofstream(dir.path + "/kept") << "x";
    ProcessHoldFile(dir.path + "/kept");
    ProcessLetGoFile(dir.path + "/kept");
    ProcessResult pane = ProcessStart({"sleep", {"30"}, {}, true});
    ProcessResult road = ProcessStart(
        {"/bin/sh", {"-c", "sleep 30 & echo $! > '" + helper + "'; wait"}, {}, false, true});
    for (int i = 0; i < 200 && !std::filesystem::exists(helper); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::string helperPid;
    std::ifstream(helper) >> helperPid;
    ProcessEndAll(100);
    for (int i = 0; i < 100 && !helperPid.empty() && !ended(helperPid); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    bool ok = ended(std::to_string(pane.pid)) && ended(std::to_string(road.pid)) &&
              !helperPid.empty() && ended(helperPid) && !std::filesystem::exists(held) &&
              std::filesystem::exists(dir.path + "/kept") &&
              ProcessStart({"true", {}, {}, false}).pid == 0;
    std::exit(ok ? 0 : 1);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

} // namespace
