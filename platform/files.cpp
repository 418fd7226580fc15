// Folder listings over opendir/readdir with statx per entry (relative to the
// open folder, so a long folder path costs nothing per entry), the wildcard
// matcher, and whole-file writes by temporary file and rename: the one
// atomic replacement that the INI engine and the library pages share.
#include "platform/files.h"

#include "platform/ascii.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <unordered_map>

namespace {

std::int64_t Nanos(const struct statx_timestamp& t) {
  return static_cast<std::int64_t>(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

// Fills the status part of entry from the entry named entry.name inside the
// open folder fd. Result: false when the entry has gone.
bool FillStatus(int fd, FileEntry& entry) {
  struct statx own {};
  if (statx(fd, entry.name.c_str(), AT_SYMLINK_NOFOLLOW,
            STATX_TYPE | STATX_SIZE | STATX_ATIME | STATX_MTIME | STATX_CTIME | STATX_BTIME,
            &own) != 0)
    return false;
  struct statx st = own;
  entry.isLink = S_ISLNK(own.stx_mode);
  if (entry.isLink) {
    struct statx target {};
    // A dangling link is listed as the link itself, like any other file.
    if (statx(fd, entry.name.c_str(), 0,
              STATX_TYPE | STATX_SIZE | STATX_ATIME | STATX_MTIME | STATX_CTIME | STATX_BTIME,
              &target) == 0)
      st = target;
  }
  entry.isDirectory = S_ISDIR(st.stx_mode);
  entry.size = entry.isDirectory ? 0 : st.stx_size;
  entry.lastAccessTime = Nanos(st.stx_atime);
  entry.lastWriteTime = Nanos(st.stx_mtime);
  entry.creationTime = (st.stx_mask & STATX_BTIME) ? Nanos(st.stx_btime) : Nanos(st.stx_ctime);
  return true;
}

} // namespace

bool WildcardMatch(const char* pattern, const char* name) {
  if (std::strcmp(pattern, "*.*") == 0)
    return true;
  const char* p = pattern;
  const char* n = name;
  const char* star = nullptr;   // last `*` seen in the pattern
  const char* resume = nullptr; // where the name resumes after that star
  while (*n) {
    if (*p == '*') {
      star = p++;
      resume = n;
    } else if (*p && (*p == '?' || AsciiLower(*p) == AsciiLower(*n))) {
      ++p;
      ++n;
    } else if (star) {
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (*p == '*')
    ++p;
  return *p == '\0';
}

bool ForEachFileEntry(const std::string& folder, const char* pattern,
                      const std::function<bool(const FileEntry&)>& visit) {
  DIR* dir = opendir(folder.empty() ? "." : folder.c_str());
  if (!dir)
    return false;
  int fd = dirfd(dir);
  FileEntry entry;
  while (struct dirent* d = readdir(dir)) {
    if (std::strcmp(d->d_name, ".") == 0 || std::strcmp(d->d_name, "..") == 0)
      continue;
    if (!WildcardMatch(pattern, d->d_name))
      continue;
    entry.name = d->d_name;
    if (!FillStatus(fd, entry))
      continue;
    if (!visit(entry))
      break;
  }
  closedir(dir);
  return true;
}

bool ListFolderNames(const std::string& folder, std::vector<FolderName>& out) {
  out.clear();
  DIR* dir = opendir(folder.empty() ? "." : folder.c_str());
  if (!dir)
    return false;
  while (struct dirent* d = readdir(dir)) {
    if (std::strcmp(d->d_name, ".") == 0 || std::strcmp(d->d_name, "..") == 0)
      continue;
    EntryKind kind = d->d_type == DT_DIR       ? EntryKind::Folder
                     : d->d_type == DT_LNK     ? EntryKind::Link
                     : d->d_type == DT_UNKNOWN ? EntryKind::Unknown
                                               : EntryKind::Other;
    out.push_back(FolderName{d->d_name, kind});
  }
  closedir(dir);
  return true;
}

bool ReadFileEntry(const std::string& folder, const std::string& name, FileEntry& entry) {
  int fd = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0)
    return false;
  entry.name = name;
  bool ok = FillStatus(fd, entry);
  close(fd);
  return ok;
}

bool FindFiles(const std::string& folder, const char* pattern, std::vector<FileEntry>& out) {
  out.clear();
  return ForEachFileEntry(folder, pattern, [&out](const FileEntry& e) {
    out.push_back(e);
    return true;
  });
}

bool BeginFileReplacement(const std::string& path, FileReplacement& r) {
  r = FileReplacement();
  std::size_t slash = path.rfind('/');
  std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (base.empty())
    return false;
  std::string temp = folder + "." + base + ".XXXXXX";
  int fd = mkostemp(temp.data(), O_CLOEXEC);
  if (fd < 0)
    return false;
  // Held until the file is closed, so a sweep can tell a live writer's
  // temporary file from one that a killed writer left.
  flock(fd, LOCK_EX | LOCK_NB);
  r.fd = fd;
  r.temp = temp;
  r.path = path;
  return true;
}

bool FinishFileReplacement(FileReplacement& r, const std::string& bytes) {
  if (r.fd < 0)
    return false;
  // umask can't be read without changing it, which would race other threads.
  struct stat old {};
  mode_t mode = stat(r.path.c_str(), &old) == 0 ? (old.st_mode & 07777) : 0644;
  bool ok =
      fchmod(r.fd, mode) == 0 && WriteAll(r.fd, bytes.data(), bytes.size()) && fsync(r.fd) == 0;
  ok = (close(r.fd) == 0) && ok;
  r.fd = -1;
  if (ok && rename(r.temp.c_str(), r.path.c_str()) == 0)
    return true;
  unlink(r.temp.c_str());
  return false;
}

void AbandonFileReplacement(FileReplacement& r) {
  if (r.fd < 0)
    return;
  close(r.fd);
  unlink(r.temp.c_str());
  r.fd = -1;
}

bool WriteFileAtomically(const std::string& path, const std::string& bytes) {
  FileReplacement r;
  return BeginFileReplacement(path, r) && FinishFileReplacement(r, bytes);
}

void RemoveStaleTemporaries(const std::string& path) {
  std::size_t slash = path.rfind('/');
  // A name right below the root keeps "/" as its folder.
  std::string folder = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
  std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (base.empty())
    return;
  static std::mutex* lock = new std::mutex;
  static auto* looked = new std::unordered_map<std::string, std::chrono::steady_clock::time_point>;
  auto now = std::chrono::steady_clock::now();
  {
    std::lock_guard guard(*lock);
    auto [at, fresh] = looked->try_emplace(path, now);
    if (!fresh && now - at->second < std::chrono::seconds(StaleTemporarySeconds))
      return;
    at->second = now;
    if (looked->size() > 256)
      looked->clear();
  }
  std::string pattern = "." + base + ".??????";
  // The pattern ignores case; the temporary files of path don't.
  RemoveStaleEntries(folder, pattern.c_str(), [&](const FileEntry& e) {
    return !e.isDirectory && e.name.compare(1, base.size(), base) == 0;
  });
}

int RemoveStaleEntries(const std::string& folder, const char* pattern,
                       const std::function<bool(const FileEntry&)>& admits) {
  std::vector<std::string> found;
  ForEachFileEntry(folder, pattern, [&](const FileEntry& e) {
    if (!e.isLink && (!admits || admits(e)))
      found.push_back(folder + "/" + e.name);
    return true;
  });
  time_t oldest = time(nullptr) - StaleTemporarySeconds;
  int removed = 0;
  for (const std::string& temp : found) {
    int fd = open(temp.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
      continue;
    struct stat st {};
    if (fstat(fd, &st) == 0 && (S_ISREG(st.st_mode) || S_ISDIR(st.st_mode)) &&
        st.st_mtime < oldest && flock(fd, LOCK_EX | LOCK_NB) == 0) {
      std::error_code ignored;
      removed += std::filesystem::remove_all(temp, ignored) > 0 ? 1 : 0;
    }
    close(fd);
  }
  return removed;
}

std::string FirstBytes(const std::string& path, std::size_t count) {
  std::string bytes(count, '\0');
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return std::string();
  ssize_t got = read(fd, bytes.data(), count);
  close(fd);
  bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return bytes;
}

bool KeepsFreeBytes(const std::string& folder, long long reserveBytes) {
  struct statvfs fs {};
  if (statvfs(folder.c_str(), &fs) != 0)
    return true;
  return static_cast<long long>(fs.f_bavail) * static_cast<long long>(fs.f_frsize) >= reserveBytes;
}

bool ReadWholeFile(const std::string& path, std::string& out, std::size_t maxBytes) {
  out.clear();
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return false;
  char buf[65536];
  bool ok = true;
  for (;;) {
    ssize_t n = read(fd, buf, sizeof buf);
    if (n < 0) {
      if (errno == EINTR)
        continue;
      ok = false;
      break;
    }
    if (n == 0)
      break;
    if (out.size() + static_cast<std::size_t>(n) > maxBytes) {
      ok = false;
      break;
    }
    out.append(buf, static_cast<std::size_t>(n));
  }
  close(fd);
  if (!ok)
    out.clear();
  return ok;
}

bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}
