#include "browser/local_pages.h"

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

bool PathInside(const std::string& root, const std::string& path) {
  if (root.empty() || path.empty() || path[0] != '/' || path.find('\0') != std::string::npos)
    return false;
  std::error_code error;
  fs::path base = fs::weakly_canonical(root, error);
  if (error)
    return false;
  fs::path file = fs::weakly_canonical(path, error);
  if (error)
    return false;
  auto b = base.begin();
  auto f = file.begin();
  for (; b != base.end(); ++b, ++f) {
    if (b->empty() && std::next(b) == base.end())
      break; // a closing separator of the root
    if (f == file.end() || *f != *b)
      return false;
  }
  return true;
}

std::string PanelLinkFrame(const std::string& path) {
  if (path == "40004" || path == "40005")
    return "POST 273 " + path + " 0";
  if (path == "20100" || path == "20120" || path == "20210")
    return "POST 1033 " + path + " 0";
  return std::string();
}

bool LocalPageMayReach(const LocalPolicy& policy, const LocalRequest& request) {
  const std::string& scheme = request.scheme;
  if (scheme == "data" || scheme == "blob" || scheme == "about")
    return true;
  if (scheme == "file" || scheme == "skerry-page") {
    for (const std::string& root : policy.roots) {
      if (PathInside(root, request.path))
        return true;
    }
    return false;
  }
  // The menu commands the pages' panel links post (browser/panel_links.h).
  if (scheme == "skerry-panel")
    return !PanelLinkFrame(request.path).empty();
  if (scheme != "http")
    return false;
  if (!policy.gameHost.empty() && request.host == policy.gameHost)
    return true;
  if (request.host != "127.0.0.1")
    return false;
  for (const LoopbackServer& server : policy.servers) {
    if (server.port <= 0 || request.port != server.port)
      continue;
    if (!server.token.empty() &&
        request.path.compare(0, server.token.size() + 2, "/" + server.token + "/") == 0)
      return true;
    if (!server.open.empty() && request.path.compare(0, server.open.size(), server.open) == 0)
      return true;
  }
  return false;
}
