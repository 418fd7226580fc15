// Child processes: argument vectors kept whole, environment additions, exit
// codes, waits with a time-out, and programs that can't start.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>

#include "platform/process.h"
#include "tests/carrier/carrier_fixture.h"

namespace {

struct RunRow {
  const char* name;
  ProcessRequest request;
  int exitCode; // -1: nothing may start
};

TEST(Process, RunsWithoutShellAndReportsExit) {
  TempFolder dir("skerry-process");
  std::string script = dir.path + "/not executable";
  { std::ofstream(script) << "#!/bin/sh\nexit 0\n"; }
  const RunRow rows[] = {
      {"exit code", {"/bin/sh", {"-c", "exit 3"}, {}, false}, 3},
      {"blanks stay one argument",
       {"/bin/sh", {"-c", "test $# -eq 1 && test \"$1\" = 'a b  c'", "sh", "a b  c"}, {}, false},
       0},
      {"no shell reads the argument", {"/bin/sh", {"-c", "exit 4", "x; exit 9"}, {}, false}, 4},
      {"environment added", {"/bin/sh", {"-c", "test \"$SK_A\" = 'x y'"}, {"SK_A=x y"}, false}, 0},
      {"environment replaced",
       {"/bin/sh", {"-c", "test \"$HOME\" = /nowhere"}, {"HOME=/nowhere"}, false},
       0},
      {"own session", {"/bin/sh", {"-c", "test $(ps -o sid= -p $$) -eq $$"}, {}, true}, 0},
      {"killed by a signal", {"/bin/sh", {"-c", "kill -9 $$"}, {}, false}, 128 + SIGKILL},
      {"missing program", {dir.path + "/missing", {}, {}, false}, -1},
      {"not executable", {script, {}, {}, false}, -1},
  };
  for (const RunRow& row : rows) {
    ProcessResult r = ProcessRun(row.request, 10000);
    if (row.exitCode < 0) {
      EXPECT_EQ(r.pid, 0) << row.name;
      EXPECT_FALSE(r.error.empty()) << row.name;
    } else {
      EXPECT_GT(r.pid, 0) << row.name << ": " << r.error;
      EXPECT_EQ(r.exitCode, row.exitCode) << row.name;
    }
  }
}

TEST(Process, WaitTimesOutThenReaps) {
  ProcessResult r = ProcessStart({"sleep", {"5"}, {}, false});
  ASSERT_GT(r.pid, 0) << r.error;
  EXPECT_FALSE(ProcessWait(&r, 50));
  EXPECT_EQ(r.exitCode, -1);
  kill(r.pid, SIGTERM);
  EXPECT_TRUE(ProcessWait(&r, 5000));
  EXPECT_EQ(r.exitCode, 128 + SIGTERM);
  EXPECT_FALSE(ProcessWait(&r, 0)); // already reaped
}

TEST(Process, KillEndsAndReaps) {
  ProcessResult r = ProcessStart({"sleep", {"30"}, {}, false});
  ASSERT_GT(r.pid, 0) << r.error;
  ProcessKill(&r);
  EXPECT_EQ(r.exitCode, 128 + SIGKILL);
  EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(r.pid)));
}

TEST(Process, ForgottenChildLeavesNoZombie) {
  ProcessResult r = ProcessStart({"true", {}, {}, false});
  ASSERT_GT(r.pid, 0);
  ProcessForget(r.pid);
  std::string stat = "/proc/" + std::to_string(r.pid);
  for (int i = 0; i < 200 && std::filesystem::exists(stat); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ProcessReap();
  }
  EXPECT_FALSE(std::filesystem::exists(stat));
}

TEST(Process, CommandLineText) {
  EXPECT_EQ(ProcessCommandLine({"/opt/a b/Lumbrel.dll", {"/U=http://x/y", "/h5"}, {}, false}),
            "\"/opt/a b/Lumbrel.dll\" /U=http://x/y /h5");
  EXPECT_EQ(ProcessCommandLine({"ffmpeg", {"-i", "", "say \"hi\""}, {}, false}),
            "ffmpeg -i \"\" \"say \\\"hi\\\"\"");
}

} // namespace
