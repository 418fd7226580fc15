// What a page shown from a local file may reach. A menu is a local page whose
// texts come from file names; should a name ever carry script into it, that
// script must find nothing to read and nobody to tell: a local page may load
// the files of a few folders (the program's Web, Game and Video folders and
// the folder of the page the Pane started with) and the game server, and
// nothing else, neither other local files nor other hosts.
#pragma once

#include <string>
#include <vector>

struct LocalPolicy {
  std::vector<std::string> roots; // folders whose files local pages may load
  std::string gameHost;           // the service's host, which the game server answers
  int serverPort = 0;             // the game server's loopback port
  std::string token;              // its secret first path segment
};

// One request of a local page: scheme and host in lower case, the port (-1
// when none is given) and, for local files, the decoded path.
struct LocalRequest {
  std::string scheme;
  std::string host;
  int port = -1;
  std::string path;
};

// Whether a local page may make the request.
bool LocalPageMayReach(const LocalPolicy& policy, const LocalRequest& request);

// Whether path, once its links and ".." are resolved, lies in or below root
// (itself resolved).
bool PathInside(const std::string& root, const std::string& path);
