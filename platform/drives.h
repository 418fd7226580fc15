// The drive table: the stand-in for drive letters, GetDriveTypeA and the
// volume probes of the desktop.
//
// C: is the root "/". Removable media (block devices marked removable in
// /sys, mounts under /media and /run/media, and each storage of a phone
// mounted through MTP or gvfs),
// network file systems and optical discs get the letters from D: on, in the
// order they were mounted. A file drives.ini in the system folder, when
// present, replaces the whole table; its section [Drives] holds one key per
// letter:
//
//   [Drives]
//   C=/
//   D=/media/card,removable
//   E=/srv/share,network,readonly
//
// The value is the root folder, then comma-separated words: removable, fixed,
// network (or remote), optical (or cdrom), ramdisk give the type (fixed when
// none); readonly and notready force the probe's answer. A root can't hold a
// comma. The table is read anew at every call; callable from any thread.
#pragma once

#include <string>
#include <vector>

// Drive types as GetDriveTypeA gives them.
enum : int {
  DriveUnknown = 0,
  DriveNoRoot = 1,
  DriveRemovable = 2,
  DriveFixed = 3,
  DriveRemote = 4,
  DriveOptical = 5,
  DriveRamDisk = 6,
};

// Results of the volume probe, the desktop's error codes.
enum : int {
  ProbeWritable = 1,      // the device says it can be written
  ProbeBadHandle = 6,     // no such drive: the open failed
  ProbeWriteProtect = 19, // read-only mount, forced readonly, or no write access
  ProbeNotReady = 21,     // no medium: the root is missing or forced notready
};

struct DriveEntry {
  char letter = 0;  // 'C' to 'Z'
  std::string root; // folder, no closing separator except for "/"
  int type = DriveFixed;
  bool readOnly = false; // forced by drives.ini
  bool notReady = false; // forced by drives.ini
};

// The table as it stands now, ordered by letter.
std::vector<DriveEntry> DriveTable();

// The table that the text of a drives.ini gives (for tests and fuzzing).
std::vector<DriveEntry> DriveTableFromIni(const std::string& iniPath);

// The table that a mount list in the form of /proc/self/mounts gives, with
// removableDevice answering whether a device name (e.g. "sdb1") is removable.
// storages gives the folders that stand for the storages of a phone mount
// (fuse.gvfsd-fuse, fuse.jmtpfs, ...), each of which becomes a drive of its
// own; null counts the mount itself as one drive.
std::vector<DriveEntry>
DriveTableFromMounts(const std::string& mountsText,
                     bool (*removableDevice)(const std::string& device),
                     std::vector<std::string> (*storages)(const std::string& mountPoint,
                                                          const std::string& fsType) = nullptr);

// The storages of a phone mount as the file system shows them: below a gvfs
// mount, the folders of every "mtp:" entry (a phone's internal storage, its
// card); below jmtpfs and go-mtpfs, the mount's folders; else the mount
// itself. Sorted by name within a mount, so letters stay put.
std::vector<std::string> PhoneStorages(const std::string& mountPoint, const std::string& fsType);

// The drive of a letter (either case); false when the table has none.
bool DriveOfLetter(char letter, DriveEntry& out);

// The drive whose root holds path (the longest root that is path itself or a
// folder above it). A path "X:..." names the drive of letter X. False when
// no drive holds the path.
bool DriveOfPath(const char* path, DriveEntry& out);

// GetDriveTypeA: the type of the drive of a letter or a path; DriveNoRoot
// when there is none.
int DriveTypeOfLetter(char letter);
int DriveTypeOfPath(const char* path);

// The device probe of a drive's medium: ProbeWritable, ProbeWriteProtect,
// ProbeNotReady, or ProbeBadHandle when the letter names no drive.
int ProbeDrive(char letter);

// The same probe for the medium that holds path: besides the drive's own
// answer, a read-only mount or a folder without write access anywhere on the
// way to path counts as write-protected.
int ProbeDriveOfPath(const char* path);
