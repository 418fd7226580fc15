// Phone detection over a drive table from drives.ini whose drives are
// folders of a temporary tree, and the drive table made from the mounts:
// cards, shares, discs, and each storage of an MTP phone as a drive.
#include "platform/drives.h"
#include "tests/video/clips.h"
#include "video/phone_drive.h"

#include <algorithm>
#include <sstream>
#include <tuple>

namespace fs = std::filesystem;

namespace {

class PhoneDrive : public InTempFolder {};

TEST_F(PhoneDrive, PassesOverTheCards) {
  setenv("SKERRY_SYSTEM_DIR", (dir + "/sys").c_str(), 1);
  fs::create_directories(dir + "/sys");
  // Folders below the tree (cards d, e, f) and drive lines with roots below
  // it, blank-separated; the video folder expected below it, "" untouched.
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
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    for (const char* card : {"/d", "/e", "/f"})
      fs::remove_all(dir + card);
    std::istringstream folders(row.folders), drives(row.drives);
    for (std::string f; folders >> f;)
      fs::create_directories(dir + "/" + f);
    std::ofstream ini(dir + "/sys/drives.ini");
    ini << "[Drives]\nC=/\n";
    for (std::string d; drives >> d;)
      ini << d.substr(0, 2) << dir << "/" << d.substr(2) << "\n";
    ini.close();
    char video[260] = "";
    EXPECT_EQ(FindPhoneDrive(row.first, video), row.letter);
    EXPECT_EQ(std::string(video), *row.video ? dir + "/" + row.video : std::string());
  }
  unsetenv("SKERRY_SYSTEM_DIR");
}

TEST_F(PhoneDrive, DriveTableFromTheMounts) {
  for (const char* f :
       {"gvfs/mtp:host=Phone_A/Internal shared storage/Music", "gvfs/mtp:host=Phone_A/Card/Videos",
        "gvfs/smb-share:server=x/share", "jmtp/Phone storage"})
    fs::create_directories(dir + "/" + f);
  // Repeated and broken lines, the system's own file systems and a fixed
  // disk are no drives; gvfs and jmtpfs mounts give their phone storages.
  const std::string mounts = "/dev/vda1 / ext4 rw 0 0\nproc /proc proc rw 0 0\n"
                             "/dev/sdb1 /media/me/CARD vfat rw 0 0\nsrv:/x /mnt/share nfs4 rw 0 0\n"
                             "/dev/sr0 /media/me/DISC iso9660 ro 0 0\n"
                             "/dev/sdc1 /mnt/stick vfat rw 0 0\n/dev/sdd1 /mnt/fixed ext4 rw 0 0\n"
                             "/dev/sde1 /run/media/me/My\\040Phone vfat rw 0 0\n"
                             "/dev/sdb1 /media/me/CARD vfat rw 0 0\ngarbage\n"
                             "gvfsd-fuse " +
                             dir +
                             "/gvfs fuse.gvfsd-fuse rw 0 0\n"
                             "jmtpfs " +
                             dir + "/jmtp fuse.jmtpfs rw 0 0\n";
  std::vector<DriveEntry> t = DriveTableFromMounts(
      mounts, [](const std::string& dev) { return dev == "sdc1"; }, PhoneStorages);
  const std::tuple<char, std::string, int> rows[] = {
      {'C', "/", DriveFixed},
      {'D', "/media/me/CARD", DriveRemovable},
      {'E', "/mnt/share", DriveRemote},
      {'F', "/media/me/DISC", DriveOptical},
      {'G', "/mnt/stick", DriveRemovable},
      {'H', "/run/media/me/My Phone", DriveRemovable},
      {'I', dir + "/gvfs/mtp:host=Phone_A/Card", DriveRemovable},
      {'J', dir + "/gvfs/mtp:host=Phone_A/Internal shared storage", DriveRemovable},
      {'K', dir + "/jmtp/Phone storage", DriveRemovable}};
  ASSERT_EQ(t.size(), std::size(rows));
  for (std::size_t i = 0; i < t.size(); ++i)
    EXPECT_EQ(std::tie(t[i].letter, t[i].root, t[i].type), rows[i]) << i;
}

} // namespace
