// The drive table is built at each call: from drives.ini in the system folder
// when that file exists, else from the mount list of the running system.
// Lookups by path pick the drive with the longest root above the path; the
// probe then asks the drive's forced flags, whether its root exists, and
// statvfs/access on the nearest existing folder of the path.
#include "platform/drives.h"

#include "platform/ascii.h"

#include "platform/files.h"
#include "platform/ini.h"
#include "platform/sysdirs.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace {

constexpr std::size_t MaxMountsBytes = 4u << 20;

char UpperLetter(char c) {
  if (c >= 'a' && c <= 'z')
    c = static_cast<char>(c - 'a' + 'A');
  return (c >= 'A' && c <= 'Z') ? c : 0;
}

std::string Trimmed(const std::string& s) {
  std::size_t b = s.find_first_not_of(" \t");
  if (b == std::string::npos)
    return std::string();
  std::size_t e = s.find_last_not_of(" \t");
  return s.substr(b, e - b + 1);
}

// A root without its closing separators ("/" stays "/").
std::string CleanRoot(std::string root) {
  while (root.size() > 1 && root.back() == '/')
    root.pop_back();
  return root;
}

// Whether root is path itself or a folder above it.
bool RootHolds(const std::string& root, const std::string& path) {
  if (root == "/")
    return !path.empty() && path[0] == '/';
  if (path.compare(0, root.size(), root) != 0)
    return false;
  return path.size() == root.size() || path[root.size()] == '/';
}

// Mount points in /proc/self/mounts write blanks and a few others as \ooo.
std::string UnescapeMountField(const std::string& f) {
  std::string out;
  for (std::size_t i = 0; i < f.size(); ++i) {
    if (f[i] == '\\' && i + 3 < f.size() && f[i + 1] >= '0' && f[i + 1] <= '3' && f[i + 2] >= '0' &&
        f[i + 2] <= '7' && f[i + 3] >= '0' && f[i + 3] <= '7') {
      out += static_cast<char>((f[i + 1] - '0') * 64 + (f[i + 2] - '0') * 8 + (f[i + 3] - '0'));
      i += 3;
    } else {
      out += f[i];
    }
  }
  return out;
}

bool SysRemovable(const std::string& device) {
  if (device.empty() || device.find('/') != std::string::npos || device[0] == '.')
    return false;
  // A partition's own folder has no "removable"; its disk's folder, one up, does.
  std::string base = "/sys/class/block/" + device;
  for (const char* rel : {"/removable", "/../removable"}) {
    std::string text;
    if (ReadWholeFile(base + rel, text, 64) && !text.empty() && text[0] == '1')
      return true;
  }
  // Many USB sticks and disks say 0 there; the bus tells. An SD card in a
  // built-in reader says 0 too; its device type tells it from soldered eMMC.
  char real[PATH_MAX];
  if (realpath(base.c_str(), real) && std::strstr(real, "/usb"))
    return true;
  for (const char* rel : {"/device/type", "/../device/type"}) {
    std::string text;
    if (ReadWholeFile(base + rel, text, 64))
      return text.rfind("SD", 0) == 0;
  }
  return false;
}

bool IsPhoneMount(const std::string& fsType) {
  static const char* const phone[] = {"fuse.gvfsd-fuse", "fuse.jmtpfs", "fuse.simple-mtpfs",
                                      "fuse.go-mtpfs",   "fuse.mtpfs",  "mtpfs"};
  for (const char* t : phone)
    if (fsType == t)
      return true;
  return false;
}

int TypeOfMount(const std::string& fsType, const std::string& mountPoint, const std::string& device,
                bool (*removableDevice)(const std::string&)) {
  static const char* const network[] = {"nfs", "nfs4", "cifs", "smb3",      "smbfs",      "ncpfs",
                                        "afs", "ceph", "9p",   "glusterfs", "fuse.sshfs", "davfs"};
  static const char* const optical[] = {"iso9660", "udf"};
  for (const char* t : network)
    if (fsType == t)
      return DriveRemote;
  for (const char* t : optical)
    if (fsType == t)
      return DriveOptical;
  if (IsPhoneMount(fsType))
    return DriveRemovable;
  if (RootHolds("/media", mountPoint) || RootHolds("/run/media", mountPoint))
    return mountPoint == "/media" || mountPoint == "/run/media" ? 0 : DriveRemovable;
  if (device.rfind("/dev/", 0) == 0 && removableDevice && removableDevice(device.substr(5)))
    return DriveRemovable;
  return 0;
}

std::string DrivesIniPath() {
  return SystemFolderPath() + "/drives.ini";
}

// The nearest folder at or above path that exists ("/" at worst).
std::string NearestExisting(std::string path) {
  struct stat st {};
  while (path.size() > 1 && stat(path.c_str(), &st) != 0) {
    std::size_t slash = path.rfind('/');
    path = (slash == std::string::npos || slash == 0) ? "/" : path.substr(0, slash);
  }
  return path;
}

int ProbeEntry(const DriveEntry& d, const std::string& path) {
  struct stat st {};
  if (d.notReady || stat(d.root.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
    return ProbeNotReady;
  if (d.readOnly)
    return ProbeWriteProtect;
  std::string at = NearestExisting(path.empty() ? d.root : path);
  if (!RootHolds(d.root, at))
    at = d.root;
  struct statvfs vs {};
  if (statvfs(at.c_str(), &vs) == 0 && (vs.f_flag & ST_RDONLY))
    return ProbeWriteProtect;
  if (stat(at.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && access(at.c_str(), W_OK) != 0)
    return ProbeWriteProtect;
  return ProbeWritable;
}

} // namespace

std::vector<DriveEntry> DriveTableFromIni(const std::string& iniPath) {
  std::vector<DriveEntry> table;
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    char key[2] = {letter, 0};
    std::string value;
    if (!IniLookup(iniPath.c_str(), "Drives", key, value))
      continue;
    DriveEntry d;
    d.letter = letter;
    std::stringstream parts(value);
    std::string word;
    bool first = true;
    while (std::getline(parts, word, ',')) {
      word = Trimmed(word);
      if (first) {
        d.root = CleanRoot(word);
        first = false;
        continue;
      }
      std::string w = AsciiLower(word);
      if (w == "removable")
        d.type = DriveRemovable;
      else if (w == "fixed")
        d.type = DriveFixed;
      else if (w == "network" || w == "remote")
        d.type = DriveRemote;
      else if (w == "optical" || w == "cdrom")
        d.type = DriveOptical;
      else if (w == "ramdisk")
        d.type = DriveRamDisk;
      else if (w == "readonly")
        d.readOnly = true;
      else if (w == "notready")
        d.notReady = true;
    }
    // Only absolute roots: a relative one would depend on the working folder.
    if (!d.root.empty() && d.root[0] == '/')
      table.push_back(d);
  }
  return table;
}

std::vector<DriveEntry>
DriveTableFromMounts(const std::string& mountsText, bool (*removableDevice)(const std::string&),
                     std::vector<std::string> (*storages)(const std::string&, const std::string&)) {
  std::vector<DriveEntry> table;
  table.push_back(DriveEntry{'C', "/", DriveFixed});
  char next = 'D';
  std::stringstream lines(mountsText);
  std::string line;
  while (next <= 'Z' && std::getline(lines, line)) {
    std::stringstream fields(line);
    std::string device, point, fsType;
    if (!(fields >> device >> point >> fsType))
      continue;
    point = CleanRoot(UnescapeMountField(point));
    if (point.empty() || point[0] != '/' || point == "/")
      continue;
    int type = TypeOfMount(fsType, point, device, removableDevice);
    if (type == 0)
      continue;
    std::vector<std::string> roots = {point};
    if (storages && IsPhoneMount(fsType))
      roots = storages(point, fsType);
    for (const std::string& root : roots) {
      bool seen = std::any_of(table.begin(), table.end(),
                              [&](const DriveEntry& d) { return d.root == root; });
      if (seen || next > 'Z')
        continue;
      DriveEntry d;
      d.letter = next++;
      d.root = root;
      d.type = type;
      table.push_back(d);
    }
  }
  return table;
}

std::vector<std::string> PhoneStorages(const std::string& mountPoint, const std::string& fsType) {
  auto folders = [](const std::string& folder, const char* pattern) {
    std::vector<std::string> names;
    ForEachFileEntry(folder, pattern, [&](const FileEntry& e) {
      if (e.isDirectory)
        names.push_back(folder + "/" + e.name);
      return true;
    });
    std::sort(names.begin(), names.end());
    return names;
  };
  if (fsType == "fuse.gvfsd-fuse") {
    std::vector<std::string> roots;
    for (const std::string& phone : folders(mountPoint, "mtp:*"))
      for (const std::string& storage : folders(phone, "*"))
        roots.push_back(storage);
    return roots;
  }
  if (fsType == "fuse.jmtpfs" || fsType == "fuse.go-mtpfs")
    return folders(mountPoint, "*");
  return {mountPoint};
}

std::vector<DriveEntry> DriveTable() {
  std::string ini = DrivesIniPath();
  if (access(ini.c_str(), F_OK) == 0)
    return DriveTableFromIni(ini);
  std::string mounts;
  if (!ReadWholeFile("/proc/self/mounts", mounts, MaxMountsBytes))
    mounts.clear();
  return DriveTableFromMounts(mounts, SysRemovable, PhoneStorages);
}

bool DriveOfLetter(char letter, DriveEntry& out) {
  letter = UpperLetter(letter);
  if (!letter)
    return false;
  for (const DriveEntry& d : DriveTable())
    if (d.letter == letter) {
      out = d;
      return true;
    }
  return false;
}

bool DriveOfPath(const char* path, DriveEntry& out) {
  if (!path || !*path)
    return false;
  if (path[1] == ':' && UpperLetter(path[0]))
    return DriveOfLetter(path[0], out);
  std::string p = path;
  bool found = false;
  for (const DriveEntry& d : DriveTable())
    if (RootHolds(d.root, p) && (!found || d.root.size() > out.root.size())) {
      out = d;
      found = true;
    }
  return found;
}

int DriveTypeOfLetter(char letter) {
  DriveEntry d;
  return DriveOfLetter(letter, d) ? d.type : DriveNoRoot;
}

int DriveTypeOfPath(const char* path) {
  DriveEntry d;
  return DriveOfPath(path, d) ? d.type : DriveNoRoot;
}

int ProbeDrive(char letter) {
  DriveEntry d;
  if (!DriveOfLetter(letter, d))
    return ProbeBadHandle;
  return ProbeEntry(d, d.root);
}

int ProbeDriveOfPath(const char* path) {
  DriveEntry d;
  if (!DriveOfPath(path, d))
    return ProbeBadHandle;
  if (path[0] != '/')
    return ProbeEntry(d, d.root);
  return ProbeEntry(d, path);
}
