#include "browser/video_site.h"

bool IsVideoServicePage(const std::string& address) {
  bool web = address.rfind("http://", 0) == 0 || address.rfind("https://", 0) == 0;
  return web && address.find("Show") != std::string::npos;
}
