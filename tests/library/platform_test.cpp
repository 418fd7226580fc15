// The pieces under the menus: wildcard listings, the drive table from mounts
// and from drives.ini, whole-file replacement, and the in-memory index file
// checked against the INI engine's own reading.
#include "library_fixture.h"

#include "library/index_file.h"
#include "platform/drives.h"
#include "platform/files.h"
#include "platform/ini.h"

#include <sys/time.h>

#include <algorithm>

namespace {

TEST(Wildcard, MatchesLikeTheDesktopListing) {
  struct Row {
    const char* pattern;
    const char* name;
    bool match;
  } rows[] = {
      {"*.swf", "game.swf", true},
      {"*.swf", "GAME.SWF", true},
      {"*.htm", "a.html", false},
      {"*.swf", "swf", false},
      {"*.swf", ".swf", true},
      {"a?c", "abc", true},
      {"a?c", "ac", false},
      {"*.*", "noext", true},
      {"*a*b*", "xxaYYbzz", true},
      {"*a*b", "xxaYYbzz", false},
      {"", "a", false},
      {".game.swf.??????", ".game.swf.abc123", true},
      {".game.swf.??????", ".game.swf.abc12", false},
  };
  for (const Row& row : rows)
    EXPECT_EQ(WildcardMatch(row.pattern, row.name), row.match) << row.pattern << " vs " << row.name;
}

class Listing : public LibraryFolder {};

TEST_F(Listing, MissingFolderListsNothing) {
  std::vector<FileEntry> entries{FileEntry{}};
  EXPECT_FALSE(FindFiles(program + "/none", "*", entries));
  EXPECT_TRUE(entries.empty());
}

TEST_F(Listing, ReplacingAFileLeavesNoTemporary) {
  std::string path = program + "/Web/page.htm";
  ASSERT_TRUE(WriteFileAtomically(path, "one"));
  chmod(path.c_str(), 0640);
  ASSERT_TRUE(WriteFileAtomically(path, "two"));
  EXPECT_EQ(ReadText(path), "two");
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_EQ(ListingOrder(program + "/Web"), std::vector<std::string>{"page.htm"});
  EXPECT_FALSE(WriteFileAtomically(program + "/missing/page.htm", "x"));
  FileReplacement r;
  ASSERT_TRUE(BeginFileReplacement(path, r));
  AbandonFileReplacement(r);
  EXPECT_EQ(ReadText(path), "two");
  EXPECT_EQ(ListingOrder(program + "/Web").size(), 1u);

  // Another writer's temporary file is left alone while it is young or held;
  // only one older than a minute that nobody holds is a killed writer's.
  ASSERT_TRUE(BeginFileReplacement(path, r));
  for (const char* name : {".page.htm.old000", ".page.htm.young0", ".PAGE.htm.other0"})
    WriteText(program + "/Web/" + name, "x");
  timeval old[2] = {{time(nullptr) - 120, 0}, {time(nullptr) - 120, 0}};
  for (const std::string& f :
       {program + "/Web/.page.htm.old000", r.temp, program + "/Web/.PAGE.htm.other0"})
    ASSERT_EQ(utimes(f.c_str(), old), 0);
  RemoveStaleTemporaries(path);
  std::vector<std::string> left = ListingOrder(program + "/Web"),
                           kept = {".PAGE.htm.other0", r.temp.substr(r.temp.rfind('/') + 1),
                                   ".page.htm.young0", "page.htm"};
  std::sort(left.begin(), left.end());
  std::sort(kept.begin(), kept.end());
  EXPECT_EQ(left, kept);
  EXPECT_TRUE(FinishFileReplacement(r, "three"));
}

TEST(DriveTable, FromMounts) {
  const std::string mounts = "/dev/vda1 / ext4 rw 0 0\n"
                             "proc /proc proc rw 0 0\n"
                             "/dev/sdb1 /media/me/CARD vfat rw 0 0\n"
                             "srv:/x /mnt/share nfs4 rw 0 0\n"
                             "/dev/sr0 /media/me/DISC iso9660 ro 0 0\n"
                             "/dev/sdc1 /mnt/stick vfat rw 0 0\n"
                             "/dev/sdd1 /mnt/fixed ext4 rw 0 0\n"
                             "gvfsd-fuse /run/user/1000/gvfs fuse.gvfsd-fuse rw 0 0\n"
                             "/dev/sde1 /run/media/me/My\\040Phone vfat rw 0 0\n"
                             "/dev/sdb1 /media/me/CARD vfat rw 0 0\n"
                             "garbage\n";
  auto removable = [](const std::string& dev) { return dev == "sdc1"; };
  std::vector<DriveEntry> t = DriveTableFromMounts(mounts, removable);
  struct Row {
    char letter;
    const char* root;
    int type;
  } rows[] = {{'C', "/", DriveFixed},
              {'D', "/media/me/CARD", DriveRemovable},
              {'E', "/mnt/share", DriveRemote},
              {'F', "/media/me/DISC", DriveOptical},
              {'G', "/mnt/stick", DriveRemovable},
              {'H', "/run/user/1000/gvfs", DriveRemovable},
              {'I', "/run/media/me/My Phone", DriveRemovable}};
  ASSERT_EQ(t.size(), std::size(rows));
  for (std::size_t i = 0; i < t.size(); ++i) {
    EXPECT_EQ(t[i].letter, rows[i].letter);
    EXPECT_EQ(t[i].root, rows[i].root);
    EXPECT_EQ(t[i].type, rows[i].type) << rows[i].root;
  }
}

class Drives : public LibraryFolder {};

TEST_F(Drives, FromDrivesIniByLetterAndPath) {
  SetDrives("C=/\nD=" + program + "/Web/,removable\nE=" + program + ",network\nF=" + root +
            "/gone,removable\nG=relative,removable\nH=" + program + "/Game,fixed,READONLY\n");
  EXPECT_EQ(DriveTypeOfLetter('d'), DriveRemovable);
  EXPECT_EQ(DriveTypeOfLetter('G'), DriveNoRoot); // a relative root is no drive
  EXPECT_EQ(DriveTypeOfPath((program + "/Web/Menu1.htm").c_str()), DriveRemovable);
  EXPECT_EQ(DriveTypeOfPath((program + "/Webbed").c_str()), DriveRemote);
  EXPECT_EQ(DriveTypeOfPath("/etc/passwd"), DriveFixed);
  EXPECT_EQ(DriveTypeOfPath("e:\\x"), DriveRemote);
  EXPECT_EQ(ProbeDrive('D'), ProbeWritable);
  EXPECT_EQ(ProbeDrive('F'), ProbeNotReady);
  EXPECT_EQ(ProbeDrive('Q'), ProbeBadHandle);
  EXPECT_EQ(ProbeDriveOfPath((program + "/Game/new/x.swf").c_str()), ProbeWriteProtect);
  SetDrives("D=" + program + "\n");
  EXPECT_EQ(DriveTypeOfPath("/etc/passwd"), DriveNoRoot); // the file replaces the whole table
  EXPECT_EQ(ProbeDriveOfPath("/etc/passwd"), ProbeBadHandle);
}

class Index : public LibraryFolder {
 protected:
  std::string Path() { return program + "/iGame.ini"; }
};

TEST_F(Index, EditsKeepForeignLinesAndReadLikeTheEngine) {
  const std::string original = "; state\r\n[status]\r\nFiles = 2\r\n\r\n[GameName]\r\n"
                               "Game/a.swf=1\r\n; note\r\nGame/b.swf=\"2\"\r\n\r\n[GameNo]\r\n"
                               "1=Game/a.swf\r\n; kept\r\n2=Game/b.swf\r\n[Other]\r\nx=y";
  WriteText(Path(), original);
  IndexFile index;
  IndexLoad(index, Path());
  EXPECT_EQ(IndexRead(index, "STATUS", "files"), "2");
  EXPECT_EQ(IndexRead(index, "GameName", "game/B.SWF"), "2");
  EXPECT_EQ(IndexText(index), original);

  IndexRemoveSection(index, "GameNo");
  EXPECT_EQ(IndexRead(index, "GameNo", "1"), "");
  IndexWrite(index, "GameName", "Game/c.swf", "3");
  IndexWrite(index, "Status", "Files", "3");
  IndexWrite(index, "GameNo", "1", "Game/a.swf");
  IndexWrite(index, "Other", "z", "new");
  EXPECT_EQ(IndexText(index),
            "; state\r\n[status]\r\nFiles=3\r\n\r\n[GameName]\r\nGame/a.swf=1\r\n; note\r\n"
            "Game/b.swf=\"2\"\r\nGame/c.swf=3\r\n\r\n; kept\r\n[Other]\r\nx=y\r\nz=new\r\n"
            "[GameNo]\r\n1=Game/a.swf\r\n");
  ASSERT_TRUE(IndexSave(index));
  // What the engine reads from the saved file is what the index said.
  for (const auto& [section, key, value] :
       std::vector<std::tuple<const char*, const char*, const char*>>{
           {"Status", "Files", "3"},
           {"GameName", "Game/b.swf", "2"},
           {"GameName", "Game/c.swf", "3"},
           {"GameNo", "1", "Game/a.swf"},
           {"GameNo", "2", ""},
           {"Other", "z", "new"}})
    EXPECT_EQ(IniReadString(Path().c_str(), section, key), value) << section << "/" << key;
}

TEST_F(Index, ValuesFollowTheStoreRules) {
  IndexFile index;
  IndexLoad(index, Path()); // no file yet
  WriteText(Path(), "[EnvAll]\nWhere=there\n");
  IndexLoad(index, Path());
  IndexWrite(index, "S", "k", "a%Where%b");
  EXPECT_EQ(IndexRead(index, "S", "k"), "athereb");
  IndexWrite(index, "S", "lines", "one\r\ntwo");
  EXPECT_EQ(IndexText(index), "[EnvAll]\nWhere=there\n[S]\nk=athereb\nlines=one@@two\n");
  EXPECT_EQ(IndexRead(index, "S", "lines"), "one\r\ntwo");
  struct Row {
    const char* text;
    bool asKey;
    bool kept;
  } rows[] = {{"Game/a.swf", true, true},           {"Game/100%.swf", false, true},
              {"Game/%Where%.swf", false, false},   {"Game/a@@b.swf", false, false},
              {"Game/a=b.swf", true, false},        {"Game/a=b.swf", false, true},
              {"Game/a.swf ", true, false},         {"\"Game/q\"", false, false},
              {"Game/line\nbreak.swf", true, false}};
  for (const Row& row : rows)
    EXPECT_EQ(IndexKeepsText(index, row.text, row.asKey), row.kept)
        << row.text << (row.asKey ? " as key" : " as value");
}

} // namespace
