// What a page shown from a local file may reach. A menu is a local page whose
// texts come from file names; should a name ever carry script into it, that
// script must find nothing to read and nobody to tell: a local page may load
// the files of a few folders (the program's Web, Game and Video folders and
// the folder of the page the Pane started with), the game server's host and
// the program's own loopback listeners, the Panel commands of the panel
// links, and nothing else, neither other
// local files nor other hosts.
#pragma once

#include <string>
#include <vector>

// A loopback listener of the program (the game server, the video streams):
// its port and the secret first path segment of its requests.
struct LoopbackServer {
  int port = 0;
  std::string token;
  std::string open; // a first path segment anyone may read ("/ruffle/"); empty: none
};

struct LocalPolicy {
  std::vector<std::string> roots;      // folders whose files local pages may load
  std::string gameHost;                // the service's host, which the game server answers
  std::vector<LoopbackServer> servers; // the program's own listeners
};

// One request of a local page: scheme and host in lower case, the port (-1
// when none is given) and, for local files, the decoded path.
struct LocalRequest {
  std::string scheme;
  std::string host;
  int port = -1;
  std::string path;
};

// The frame a panel link's path posts to the Panel: the menu commands 40004
// and 40005 as WM_COMMAND, the face's Start (20100), Home (20120) and Collect
// (20210) as PanelCommands; empty for any other path.
std::string PanelLinkFrame(const std::string& path);

// Whether a local page may make the request.
bool LocalPageMayReach(const LocalPolicy& policy, const LocalRequest& request);

// Whether path, once its links and ".." are resolved, lies in or below root
// (itself resolved).
bool PathInside(const std::string& root, const std::string& path);
