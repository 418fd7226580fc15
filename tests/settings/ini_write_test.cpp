// Writing INI files: edits in place, removals, atomic replacement, and a
// writer killed at random moments.
#include "platform/ini.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

namespace {

TEST(IniWrite, EditsOnlyTheLineItConcerns) {
  // clang-format off
  const struct { const char* name; std::string before; const char *section, *key, *value; std::string after; } cases[] = {
      {"replace keeps spelling and place", "; top\n[S]\n  KeY = old \nz=1\n", "s", "key", "new", "; top\n[S]\nKeY=new\nz=1\n"},
      {"untouched lines byte for byte", "[a]\r\n x = 1 \r\n\r\njunk\r\n[b]\r\nk=2\r\n", "b", "k", "3", "[a]\r\n x = 1 \r\n\r\njunk\r\n[b]\r\nk=3\r\n"},
      {"new key after last key line", "[s]\na=1\n; note\n\n[t]\n", "s", "b", "2", "[s]\na=1\nb=2\n; note\n\n[t]\n"},
      {"new key without final break", "[s]\na=1", "s", "b", "2", "[s]\na=1\nb=2"},
      {"new section, crlf kept", "[s]\r\na=1\r\n", "t", "k", "v", "[s]\r\na=1\r\n[t]\r\nk=v\r\n"},
      {"names trimmed, value exact", "", " s\t", " k ", " v ", "[s]\nk= v \n"},
      {"first of duplicate sections", "[s]\nk=1\n[S]\nk=2\n", "s", "k", "9", "[s]\nk=9\n[S]\nk=2\n"},
      {"remove last key without break", "[s]\na=1\nk=2", "s", "k", nullptr, "[s]\na=1\n"},
      {"remove section keeps comments", "[x]\nq=0\n[s]\na=1\n; keep\nloose\n[t]\nc=3\n", "s", nullptr, nullptr, "[x]\nq=0\n; keep\nloose\n[t]\nc=3\n"},
      {"line breaks in value become blanks", "[s]\n", "s", "k", "a\r\n[evil]\nb", "[s]\nk=a  [evil] b\n"},
      {"byte order mark kept", "\xEF\xBB\xBF[s]\nk=1\n", "s", "k", "2", "\xEF\xBB\xBF[s]\nk=2\n"},
  };
  // clang-format on
  TempFolder dir;
  for (const auto& c : cases) {
    std::string file = dir / ("case" + std::to_string(&c - cases) + ".ini");
    if (!c.before.empty())
      WriteWhole(file, c.before);
    EXPECT_TRUE(IniWrite(file.c_str(), c.section, c.key, c.value)) << c.name;
    EXPECT_EQ(ReadWhole(file), c.after) << c.name;
  }
}

TEST(IniWrite, ReplacesThroughASymlinkOnlyWhenNeeded) {
  TempFolder dir;
  std::string file = dir / "new.ini", link = dir / "link.ini";
  EXPECT_FALSE(IniWrite((dir / "no/such/x.ini").c_str(), "s", "k", "v"));
  EXPECT_FALSE(IniWrite(file.c_str(), nullptr, "k", "v"));
  WriteWhole(file, "[s]\nk=v\n");
  ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
  Age(file, 30);
  struct stat before {
  }, after{};
  stat(file.c_str(), &before);
  EXPECT_TRUE(IniWrite(link.c_str(), "s", "k", "v"));
  stat(file.c_str(), &after);
  EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec) << "same value rewritten";
  EXPECT_TRUE(IniWrite(link.c_str(), "s", "k", "w"));
  stat(file.c_str(), &after);
  EXPECT_NE(before.st_ino, after.st_ino) << "rewritten in place";
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(ReadWhole(file), "[s]\nk=w\n");
}

TEST(IniWrite, WritersLoseNoKeyAndReadersSeeNoGap) {
  TempFolder dir;
  std::string file = dir / "threads.ini";
  WriteWhole(file, "[s]\nfixed=yes\n");
  std::atomic<int> writing{4};
  std::atomic<bool> wrong{false};
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    while (writing > 0)
      wrong = wrong || IniReadString(file.c_str(), "s", "fixed") != "yes";
  });
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) {
        std::string key = "t" + std::to_string(t) + "k" + std::to_string(i);
        IniWrite(file.c_str(), "s", key.c_str(), key.c_str());
      }
      --writing;
    });
  for (auto& t : threads)
    t.join();
  EXPECT_FALSE(wrong);
  EXPECT_EQ(IniKeys(file.c_str(), "s").size(), 201u);
  EXPECT_EQ(IniReadString(file.c_str(), "S", "t3k49"), "t3k49");
}

// A child rewrites 200 keys one write each, and is killed at a random moment,
// many times over: the file is always that before or after a single write.
TEST(IniWrite, KilledWriterLeavesNoTornFileAndNoOldTemporary) {
  TempFolder dir;
  std::string file = dir / "crash.ini";
  const int keys = 200;
  std::string uniform = "[s]\n";
  for (int k = 0; k < keys; ++k)
    uniform += "key" + std::to_string(k) + "=base\n";
  std::mt19937 rng(12345);
  for (int round = 0; round < 40; ++round) {
    WriteWhole(file, uniform);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
      for (int r = 1;; ++r)
        for (int k = 0; k < keys; ++k)
          IniWrite(file.c_str(), "s", ("key" + std::to_string(k)).c_str(),
                   (std::to_string(round) + "-" + std::to_string(r)).c_str());
    std::this_thread::sleep_for(std::chrono::microseconds(2000 + rng() % 20000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    std::string bytes = ReadWhole(file);
    ASSERT_EQ(std::count(bytes.begin(), bytes.end(), '\n'), keys + 1) << "round " << round;
    ASSERT_EQ(bytes.back(), '\n') << "round " << round;
    // Keys are written in order: front to back the value changes at most once.
    int changes = 0;
    std::string previous;
    for (int k = 0; k < keys; ++k) {
      std::string v = IniReadString(file.c_str(), "s", ("key" + std::to_string(k)).c_str());
      ASSERT_FALSE(v.empty()) << "round " << round << " key " << k;
      changes += k > 0 && v != previous;
      previous = v;
    }
    ASSERT_LE(changes, 1) << "round " << round;
  }
  // Temporaries of killed writers go once they are over a minute old (which
  // ones are spared is the shared sweep's, tested with the library's files).
  for (auto& e : std::filesystem::directory_iterator(dir.path))
    Age(e.path(), 120);
  ASSERT_TRUE(IniWrite(file.c_str(), "s", "key0", "last"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), {}), 1)
      << "a temporary left";
}

} // namespace
