// The service's own web server, answered inside the browser program: the game
// menu's links (http://<host>/ombrel/TodayAD.asp?data1=<full path of a game>)
// are turned by the program into requests to a loopback listener of its own,
// and this file decides every answer. Plain C++: the Qt side only moves bytes.
//
// Requests carry a secret prefix (/<token>/...) so that no other local program
// can read through the listener. Only regular files inside the Game folder (for
// games) or the emulator folder (for its scripts) are ever served; a path is
// resolved with realpath, so "..", absolute escapes and symbolic links that
// lead out are all refused.
#pragma once

#include <string>

struct GameServer {
  std::string token;     // the secret first path segment, without slashes
  std::string gameDir;   // the Game folder beside the program
  std::string ruffleDir; // the emulator's self-hosted build; empty when missing
};

// One answer. When file is set the body is that file's content.
struct HttpAnswer {
  int status = 200;
  std::string type;       // Content-Type
  std::string body;       // used when file is empty
  std::string file;       // canonical path of a file to send
  std::string location;   // redirect target for 302
  std::string game;       // canonical path of the game a TodayAD page plays
  bool anyOrigin = false; // pages of every origin may read it (the emulator's files)
};

// Answers a request target (path and query as they stand in the request line).
HttpAnswer AnswerGameRequest(const GameServer& server, const std::string& target);

// The whole head of an answer, ready to send, for a body of contentLength bytes.
std::string AnswerHead(const HttpAnswer& answer, unsigned long long contentLength);

// The request target of a request head ("GET /x HTTP/1.1\r\n..."); empty when
// the head is no GET or HEAD request. head may be cut; only its first line
// counts. isHead tells a HEAD request.
std::string RequestTarget(const std::string& head, bool* isHead);

// The canonical path of candidate if it names an existing regular file inside
// root (root itself excluded), else empty.
std::string ResolveInside(const std::string& root, const std::string& candidate);

// %XX sequences decoded; a broken sequence is kept as it stands.
std::string PercentDecode(const std::string& text);

// The value of data1 in a query: everything behind "data1=" to the end of the
// query, decoded, since the menu writes the game's path unescaped and a path
// may itself hold "&". Empty when the query has no data1.
std::string Data1Of(const std::string& query);

// Every byte but unreserved ones (and "/" when keepSlash) as %XX: a path as
// it appears in a link of ours, safe inside a URL, HTML and script strings.
std::string PercentEncode(const std::string& text, bool keepSlash);

// The MIME type for a file name by its ending.
std::string TypeForName(const std::string& name);
