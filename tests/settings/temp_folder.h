// Small file helpers for the settings tests.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/carrier/carrier_fixture.h"

inline void WriteBytes(const std::string& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

inline std::string ReadBytes(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Sets the file's times to those of like, moved seconds into the past.
inline void Age(const std::string& file, int seconds, const std::string& like = "") {
  struct stat st {};
  stat((like.empty() ? file : like).c_str(), &st);
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  times[0].tv_sec -= seconds;
  times[1].tv_sec -= seconds;
  utimensat(AT_FDCWD, file.c_str(), times, 0);
}
