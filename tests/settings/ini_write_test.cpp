// Writing INI files: edits in place, removals, line breaks, atomic
// replacement, and a writer killed at random moments.
#include "platform/ini.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <sys/file.h>
#include <sys/time.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

namespace {

struct WriteCase {
  const char* name;
  std::string before;
  const char* section;
  const char* key;
  const char* value;
  std::string after;
};

TEST(IniWrite, EditsOnlyTheLineItConcerns) {
  const WriteCase cases[] = {
      {"replace keeps spelling and place", "; top\n[S]\n  KeY = old \nz=1\n", "s", "key", "new",
       "; top\n[S]\nKeY=new\nz=1\n"},
      {"untouched lines byte for byte", "[a]\r\n x = 1 \r\n\r\n; c\r\njunk line\r\n[b]\r\nk=2\r\n",
       "b", "k", "3", "[a]\r\n x = 1 \r\n\r\n; c\r\njunk line\r\n[b]\r\nk=3\r\n"},
      {"new key after last key line", "[s]\na=1\n; note\n\n[t]\n", "s", "b", "2",
       "[s]\na=1\nb=2\n; note\n\n[t]\n"},
      {"new key in empty section", "[s]\n; c\n[t]\n", "s", "k", "v", "[s]\nk=v\n; c\n[t]\n"},
      {"new key at end without final break", "[s]\na=1", "s", "b", "2", "[s]\na=1\nb=2"},
      {"new section at end", "[s]\na=1\n", "t", "k", "v", "[s]\na=1\n[t]\nk=v\n"},
      {"new section after missing final break", "[s]\na=1", "t", "k", "v", "[s]\na=1\n[t]\nk=v\n"},
      {"crlf file gets crlf lines", "[s]\r\na=1\r\n", "t", "k", "v",
       "[s]\r\na=1\r\n[t]\r\nk=v\r\n"},
      {"names trimmed, value exact", "", " s\t", " k ", " v ", "[s]\nk= v \n"},
      {"duplicate sections: first is edited", "[s]\nk=1\n[S]\nk=2\n", "s", "k", "9",
       "[s]\nk=9\n[S]\nk=2\n"},
      {"remove key", "[s]\na=1\nk=2\nb=3\n", "s", "k", nullptr, "[s]\na=1\nb=3\n"},
      {"remove last key without break", "[s]\na=1\nk=2", "s", "k", nullptr, "[s]\na=1\n"},
      {"remove missing key changes nothing", "[s]\na=1\n", "s", "k", nullptr, "[s]\na=1\n"},
      {"remove section keeps comments", "[x]\nq=0\n[s]\na=1\n; keep\nb=2\nloose\n[t]\nc=3\n", "s",
       nullptr, nullptr, "[x]\nq=0\n; keep\nloose\n[t]\nc=3\n"},
      {"line breaks in value become blanks", "[s]\n", "s", "k", "a\r\n[evil]\nb",
       "[s]\nk=a  [evil] b\n"},
      {"byte order mark kept", "\xEF\xBB\xBF[s]\nk=1\n", "s", "k", "2", "\xEF\xBB\xBF[s]\nk=2\n"},
  };
  TempFolder dir;
  int n = 0;
  for (const WriteCase& c : cases) {
    std::string file = dir / ("case" + std::to_string(n++) + ".ini");
    if (!c.before.empty())
      WriteBytes(file, c.before);
    EXPECT_TRUE(IniWrite(file.c_str(), c.section, c.key, c.value)) << c.name;
    EXPECT_EQ(ReadBytes(file), c.after) << c.name;
  }
}

TEST(IniWrite, NewFileAndFailures) {
  TempFolder dir;
  std::string file = dir / "new.ini";
  EXPECT_TRUE(IniWrite(file.c_str(), "s", "k", nullptr)) << "removal from no file succeeds";
  EXPECT_FALSE(std::filesystem::exists(file)) << "and makes no file";
  EXPECT_TRUE(IniWrite(file.c_str(), "s", "k", "v"));
  EXPECT_EQ(ReadBytes(file), "[s]\nk=v\n");

  std::string nowhere = dir / "no/such/folder/x.ini";
  EXPECT_FALSE(IniWrite(nowhere.c_str(), "s", "k", "v"));
  EXPECT_FALSE(std::filesystem::exists(dir / "no"));
  EXPECT_FALSE(IniWrite(file.c_str(), nullptr, "k", "v"));
  EXPECT_FALSE(IniWrite(nullptr, "s", "k", "v"));

  // Nothing but the file itself is left in the folder.
  auto entries = std::filesystem::directory_iterator(dir.path);
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

TEST(IniWrite, SameValueTouchesNothingAndModeIsKept) {
  TempFolder dir;
  std::string file = dir / "same.ini";
  WriteBytes(file, "[s]\nk=v\n");
  chmod(file.c_str(), 0640);
  Age(file, 30);
  struct stat before {};
  stat(file.c_str(), &before);
  EXPECT_TRUE(IniWrite(file.c_str(), "s", "k", "v"));
  struct stat after {};
  stat(file.c_str(), &after);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);

  EXPECT_TRUE(IniWrite(file.c_str(), "s", "k", "w"));
  stat(file.c_str(), &after);
  EXPECT_NE(before.st_ino, after.st_ino) << "replaced, not rewritten in place";
  EXPECT_EQ(after.st_mode & 0777, 0640u);
}

TEST(IniWrite, WritesThroughASymlink) {
  TempFolder dir;
  std::string real = dir / "real.ini", link = dir / "link.ini";
  WriteBytes(real, "[s]\nk=1\n");
  ASSERT_EQ(symlink(real.c_str(), link.c_str()), 0);
  EXPECT_TRUE(IniWrite(link.c_str(), "s", "k", "2"));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(ReadBytes(real), "[s]\nk=2\n");
}

TEST(IniWrite, ThreadsAddingKeysLoseNone) {
  TempFolder dir;
  std::string file = dir / "threads.ini";
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) {
        std::string key = "t" + std::to_string(t) + "k" + std::to_string(i);
        IniWrite(file.c_str(), "s", key.c_str(), key.c_str());
      }
    });
  }
  for (auto& w : writers)
    w.join();
  EXPECT_EQ(IniKeys(file.c_str(), "s").size(), 200u);
  EXPECT_EQ(IniReadString(file.c_str(), "S", "t3k49"), "t3k49");
}

// A child rewrites a file of 200 keys in a loop, one key per write, and is
// killed with SIGKILL at a random moment, many times over. The file must
// always be the one before or after some single write: every key there,
// every line whole.
TEST(IniWrite, KilledWriterNeverLeavesATornFile) {
  TempFolder dir;
  std::string file = dir / "crash.ini";
  const int keys = 200;
  std::string uniform = "[s]\n";
  for (int k = 0; k < keys; ++k)
    uniform += "key" + std::to_string(k) + "=base\n";
  std::mt19937 rng(12345);
  for (int round = 0; round < 40; ++round) {
    WriteBytes(file, uniform);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (int r = 1;; ++r)
        for (int k = 0; k < keys; ++k)
          IniWrite(file.c_str(), "s", ("key" + std::to_string(k)).c_str(),
                   (std::to_string(round) + "-" + std::to_string(r)).c_str());
    }
    std::this_thread::sleep_for(std::chrono::microseconds(2000 + rng() % 20000));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);

    std::string bytes = ReadBytes(file);
    ASSERT_FALSE(bytes.empty()) << "round " << round;
    ASSERT_EQ(bytes.back(), '\n') << "round " << round;
    std::vector<std::string> names = IniKeys(file.c_str(), "s");
    ASSERT_EQ(names.size(), static_cast<std::size_t>(keys)) << "round " << round;
    std::size_t lines = std::count(bytes.begin(), bytes.end(), '\n');
    ASSERT_EQ(lines, static_cast<std::size_t>(keys + 1)) << "round " << round;
    // Keys are written one by one in order: the values read front to back
    // change at most once (the new round's value, then the old one's).
    int changes = 0;
    std::string previous;
    for (int k = 0; k < keys; ++k) {
      std::string v = IniReadString(file.c_str(), "s", ("key" + std::to_string(k)).c_str());
      ASSERT_FALSE(v.empty()) << "round " << round << " key " << k;
      if (k > 0 && v != previous)
        ++changes;
      previous = v;
    }
    ASSERT_LE(changes, 1) << "round " << round;
  }
  // Temporary files of killed writers stay behind only until a write finds
  // them over a minute old: here all of them are made two minutes old. Kept
  // are a young one and an old one that its writer still holds (locked).
  std::vector<std::string> left;
  for (auto& e : std::filesystem::directory_iterator(dir.path)) {
    std::string name = e.path().filename().string();
    EXPECT_TRUE(name == "crash.ini" || name.rfind(".crash.ini.", 0) == 0) << name;
    if (name != "crash.ini")
      left.push_back(e.path().string());
  }
  std::string held = dir / ".crash.ini.held00";
  std::string young = dir / ".crash.ini.young0";
  WriteBytes(held, "x");
  WriteBytes(young, "x");
  left.push_back(held);
  timeval old[2] = {{time(nullptr) - 120, 0}, {time(nullptr) - 120, 0}};
  for (const std::string& f : left)
    ASSERT_EQ(utimes(f.c_str(), old), 0);
  int lock = open(held.c_str(), O_RDONLY);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  ASSERT_TRUE(IniWrite(file.c_str(), "s", "key0", "last"));
  close(lock);
  std::vector<std::string> names;
  for (auto& e : std::filesystem::directory_iterator(dir.path))
    names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".crash.ini.held00",
                                             ".crash.ini.young0", "crash.ini"}))
      << left.size() - 1 << " left by killed writers";
}

} // namespace
