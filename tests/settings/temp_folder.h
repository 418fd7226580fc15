// A temporary folder per test, removed with everything in it afterwards, and
// small file helpers for the settings tests.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

struct TempFolder {
  std::string path;
  TempFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "skerry-settings-XXXXXX").string();
    path = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  std::string operator/(const std::string& name) const { return path + "/" + name; }
};

inline void WriteBytes(const std::string& file, const std::string& bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << bytes;
}

inline std::string ReadBytes(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Puts the file's modification time seconds into the past, as a file that has
// not changed for a while.
inline void Age(const std::string& file, int seconds) {
  struct stat st {};
  stat(file.c_str(), &st);
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  times[0].tv_sec -= seconds;
  times[1].tv_sec -= seconds;
  utimensat(AT_FDCWD, file.c_str(), times, 0);
}
