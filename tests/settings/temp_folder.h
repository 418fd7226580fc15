// A temporary folder and file helpers for the settings tests.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <string>

#include "tests/carrier/carrier_fixture.h"
#include "tests/web/web_env.h"

// Sets the file's times to those of like, moved seconds into the past.
inline void Age(const std::string& file, int seconds, const std::string& like = "") {
  struct stat st {};
  stat((like.empty() ? file : like).c_str(), &st);
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  times[0].tv_sec -= seconds;
  times[1].tv_sec -= seconds;
  utimensat(AT_FDCWD, file.c_str(), times, 0);
}
