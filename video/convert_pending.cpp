// The conversion job until it is built (video/convert.cpp replaces this
// file): it takes no file, so a converting request leaves its downloads in
// the folder.
#include "video/video_jobs.h"

int ConvertJob(std::uint32_t) {
  return 0;
}
