// Phone detection over a drive table from drives.ini whose drives are
// folders of a temporary tree, and the phone storages that an MTP mount
// turns into drives.
#include "platform/drives.h"
#include "tests/video/clips.h"
#include "video/phone_drive.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <vector>

namespace {

class PhoneDrive : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    setenv("SKERRY_SYSTEM_DIR", (dir + "/sys").c_str(), 1);
    MakeFolder("sys");
  }
  void TearDown() override {
    unsetenv("SKERRY_SYSTEM_DIR");
    TempFolder::TearDown();
  }
  void MakeFolder(const std::string& relative) {
    std::string cmd = "mkdir -p '" + dir + "/" + relative + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
  }
  // drives: "D=card1,removable" lines with roots relative to the tree.
  void SetDrives(const std::vector<std::string>& drives) {
    std::ofstream ini(dir + "/sys/drives.ini");
    ini << "[Drives]\nC=/\n";
    for (const std::string& d : drives)
      ini << d.substr(0, 2) << dir << "/" << d.substr(2) << "\n";
  }
};

TEST_F(PhoneDrive, PassesOverTheCards) {
  // Folders below the tree (cards d, e, f) and drive lines, blank-separated;
  // the video folder expected below the tree, "" when untouched.
  struct Row {
    const char *name, *folders, *drives;
    int first, letter;
    const char* video;
  } rows[] = {
      {"no folders of the table", "d/DCIM", "D=d,removable", 'D', 0, ""},
      {"Music only", "d/Music", "D=d,removable", 'D', 'D', ""},
      {"Video and Music, no System", "d/Video d/Music", "D=d,removable", 'D', 'D', "d/Video"},
      {"Video and System: no phone", "d/Video d/System", "D=d,removable", 'D', 0, "d/Video"},
      {"the first pass", "d/Video d/System d/Music", "D=d,removable", 'D', 'D', "d/Video"},
      {"Videos replaces Video", "d/Video d/Videos", "D=d,removable", 'D', 'D', "d/Videos"},
      {"case ignored, kept", "d/VIDEOS d/system/apps", "D=d,removable", 'D', 'D', "d/VIDEOS"},
      {"a fixed disk", "d/Video d/System d/Music", "D=d,fixed", 'D', 0, ""},
      {"the lower of two", "e/Music f/Nokia", "E=e,removable F=f,removable", 'D', 'E', ""},
      {"letters before the first", "d/Music e/Sounds", "D=d,removable E=e,removable", 'E', 'E', ""},
      {"a first letter past Z", "d/Music", "D=d,removable", 'Z' + 1, 0, ""},
      {"a root that has gone", "", "D=gone,removable", 'D', 0, ""},
      {"a storage under an MTP mount", "d/mtp:host=A/Card/Videos", "D=d/mtp:host=A/Card,removable",
       'D', 'D', "d/mtp:host=A/Card/Videos"},
  };
  auto words = [](const std::string& text) {
    std::vector<std::string> out;
    for (std::size_t at = 0; at < text.size();) {
      std::size_t end = std::min(text.find(' ', at), text.size());
      out.push_back(text.substr(at, end - at));
      at = end + 1;
    }
    return out;
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::system(("rm -rf '" + dir + "'/d '" + dir + "'/e '" + dir + "'/f").c_str());
    for (const std::string& f : words(row.folders))
      MakeFolder(f);
    SetDrives(words(row.drives));
    char video[260] = "";
    EXPECT_EQ(FindPhoneDrive(row.first, video), row.letter);
    EXPECT_EQ(std::string(video), *row.video ? dir + "/" + row.video : std::string());
  }
}

TEST_F(PhoneDrive, EachStorageOfAPhoneIsADrive) {
  MakeFolder("gvfs/mtp:host=Phone_A/Internal shared storage/Music");
  MakeFolder("gvfs/mtp:host=Phone_A/Card/Videos");
  MakeFolder("gvfs/smb-share:server=x/share");
  MakeFolder("jmtp/Phone storage");
  const std::string mounts = "/dev/vda1 / ext4 rw 0 0\ngvfsd-fuse " + dir +
                             "/gvfs fuse.gvfsd-fuse rw 0 0\njmtpfs " + dir +
                             "/jmtp fuse.jmtpfs rw 0 0\n";
  std::vector<DriveEntry> t = DriveTableFromMounts(
      mounts, [](const std::string&) { return false; }, PhoneStorages);
  const char* roots[] = {"/gvfs/mtp:host=Phone_A/Card",
                         "/gvfs/mtp:host=Phone_A/Internal shared storage", "/jmtp/Phone storage"};
  ASSERT_EQ(t.size(), 4u);
  for (std::size_t i = 1; i < t.size(); ++i) {
    EXPECT_EQ(t[i].root, dir + roots[i - 1]);
    EXPECT_EQ(t[i].letter, 'C' + static_cast<int>(i));
    EXPECT_EQ(t[i].type, DriveRemovable);
  }
}

} // namespace
