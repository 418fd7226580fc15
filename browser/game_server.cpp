// Routes of the game server, all below /<token>/:
//   ombrel/TodayAD.asp?data1=<path>  a page that plays the game (a Flash file
//                                    through the emulator; a page game by a
//                                    redirect to the file itself)
//   Game/<relative path>             a file of the Game folder
//   ruffle/<name>                    a file of the emulator's build
// and, outside the token, /ruffle/<name> again for pages of any origin.
// Everything else, and any path that resolves outside its folder, is a plain
// "not found" page. Paths of the old index may use backslashes; they are read
// as separators.
#include "browser/game_server.h"

#include "platform/page_text.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>

namespace {

bool EqualsNoCase(const std::string& a, const char* b) {
  std::size_t i = 0;
  for (; i < a.size() && b[i]; ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(b[i]))
      return false;
  }
  return i == a.size() && b[i] == '\0';
}

std::string Canonical(const std::string& path) {
  char buffer[PATH_MAX];
  if (path.empty() || path.find('\0') != std::string::npos || !realpath(path.c_str(), buffer))
    return "";
  return buffer;
}

const char* PageStyle = "<style>html,body{margin:0;height:100%;background:#10161f;color:#d8e4f0;"
                        "font:14px sans-serif}div{padding:40px 16px;text-align:center}</style>";

HttpAnswer NotFound(const std::string& what) {
  HttpAnswer answer;
  answer.status = 404;
  answer.type = "text/html; charset=utf-8";
  answer.body = std::string("<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>") + what +
                "</title>" + PageStyle + "</head><body><div>" + what + "</div></body></html>\n";
  return answer;
}

HttpAnswer FileAnswer(const std::string& root, const std::string& relative) {
  if (root.empty())
    return NotFound("Not found.");
  std::string path = root + "/" + relative;
  std::string file = ResolveInside(root, path);
  if (file.empty())
    return NotFound("Not found.");
  HttpAnswer answer;
  answer.type = TypeForName(file);
  answer.file = file;
  return answer;
}

HttpAnswer GamePage(const GameServer& server, const std::string& query) {
  std::string wanted = Data1Of(query);
  for (char& c : wanted) {
    if (c == '\\')
      c = '/';
  }
  std::string game =
      wanted.empty() || wanted[0] != '/' ? "" : ResolveInside(server.gameDir, wanted);
  if (game.empty())
    return NotFound("Game not found.");
  std::string root = Canonical(server.gameDir);
  std::string relative = game.substr(root.size() + 1);
  std::string link = "/" + server.token + "/Game/" + PercentEncode(relative, true);
  std::string type = TypeForName(game);
  if (type.rfind("text/html", 0) == 0) {
    HttpAnswer answer;
    answer.status = 302;
    answer.type = "text/html; charset=utf-8";
    answer.location = link;
    answer.game = game;
    answer.body = "<a href=\"" + link + "\">game</a>\n";
    return answer;
  }
  std::string name = relative.substr(relative.rfind('/') + 1);
  HttpAnswer answer;
  answer.type = "text/html; charset=utf-8";
  answer.game = game;
  if (server.ruffleDir.empty()) {
    answer.body = std::string("<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>") +
                  PageText(name) + "</title>" + PageStyle +
                  "</head><body><div>The Flash player is not installed.</div></body></html>\n";
    return answer;
  }
  std::string base = "/" + server.token + "/ruffle/";
  answer.body =
      "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>" + PageText(name) +
      "</title>\n<style>html,body{margin:0;width:100%;height:100%;background:#000;"
      "overflow:hidden}#stage{width:100%;height:100%}</style>\n"
      "<script>window.RufflePlayer=window.RufflePlayer||{};window.RufflePlayer.config={"
      "publicPath:\"" +
      base +
      "\",autoplay:\"on\",unmuteOverlay:\"hidden\",splashScreen:false,"
      "letterbox:\"on\",contextMenu:\"off\",warnOnUnsupportedContent:false,"
      "showSwfDownload:false,openUrlMode:\"deny\",allowNetworking:\"internal\"};</script>\n"
      "<script src=\"" +
      base +
      "ruffle.js\"></script></head>\n<body><div id=\"stage\"></div><script>\n"
      "const player=window.RufflePlayer.newest().createPlayer();\n"
      "player.style.width=\"100%\";player.style.height=\"100%\";\n"
      "document.getElementById(\"stage\").appendChild(player);\n"
      "player.load({url:\"" +
      link + "\"});\n</script></body></html>\n";
  return answer;
}

} // namespace

std::string ResolveInside(const std::string& root, const std::string& candidate) {
  std::string base = Canonical(root);
  std::string file = Canonical(candidate);
  if (base.empty() || file.empty() || file.size() <= base.size() + 1 ||
      file.compare(0, base.size(), base) != 0 || file[base.size()] != '/')
    return "";
  struct stat info;
  if (stat(file.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
    return "";
  return file;
}

std::string PercentDecode(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() &&
        std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string Data1Of(const std::string& query) {
  std::size_t at = 0;
  while (true) {
    at = query.find("data1=", at);
    if (at == std::string::npos)
      return "";
    if (at == 0 || query[at - 1] == '&')
      return PercentDecode(query.substr(at + 6));
    at += 6;
  }
}

std::string PercentEncode(const std::string& text, bool keepSlash) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~' ||
        (keepSlash && c == '/')) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

std::string TypeForName(const std::string& name) {
  std::size_t dot = name.rfind('.');
  std::string ending = dot == std::string::npos ? "" : name.substr(dot + 1);
  struct Row {
    const char* ending;
    const char* type;
  };
  static const Row rows[] = {
      {"htm", "text/html; charset=utf-8"},
      {"html", "text/html; charset=utf-8"},
      {"js", "text/javascript"},
      {"wasm", "application/wasm"},
      {"swf", "application/x-shockwave-flash"},
      {"json", "application/json"},
      {"map", "application/json"},
      {"png", "image/png"},
      {"jpg", "image/jpeg"},
      {"jpeg", "image/jpeg"},
      {"gif", "image/gif"},
      {"css", "text/css"},
      {"mp3", "audio/mpeg"},
      {"xml", "text/xml"},
      {"txt", "text/plain; charset=utf-8"},
  };
  for (const Row& row : rows) {
    if (EqualsNoCase(ending, row.ending))
      return row.type;
  }
  return "application/octet-stream";
}

std::string RequestTarget(const std::string& head, bool* isHead) {
  std::size_t end = head.find_first_of("\r\n");
  std::string line = head.substr(0, end);
  std::size_t first = line.find(' ');
  std::size_t second = first == std::string::npos ? first : line.find(' ', first + 1);
  if (second == std::string::npos)
    return "";
  std::string method = line.substr(0, first);
  if (method != "GET" && method != "HEAD")
    return "";
  if (isHead)
    *isHead = method == "HEAD";
  std::string target = line.substr(first + 1, second - first - 1);
  if (target.empty() || target[0] != '/')
    return "";
  return target;
}

HttpAnswer AnswerGameRequest(const GameServer& server, const std::string& target) {
  std::size_t mark = target.find('?');
  std::string path = target.substr(0, mark);
  std::string query = mark == std::string::npos ? "" : target.substr(mark + 1);
  std::size_t hash = query.find('#');
  if (hash != std::string::npos)
    query.resize(hash);
  // The emulator's files are public: every page that shows Flash loads them.
  if (path.compare(0, 8, "/ruffle/") == 0) {
    HttpAnswer answer = FileAnswer(server.ruffleDir, PercentDecode(path.substr(8)));
    answer.anyOrigin = true;
    return answer;
  }
  std::string prefix = "/" + server.token + "/";
  if (server.token.empty() || path.compare(0, prefix.size(), prefix) != 0)
    return NotFound("Not found.");
  std::string route = path.substr(prefix.size());
  if (EqualsNoCase(route, "ombrel/TodayAD.asp"))
    return GamePage(server, query);
  if (route.compare(0, 5, "Game/") == 0)
    return FileAnswer(server.gameDir, PercentDecode(route.substr(5)));
  if (route.compare(0, 7, "ruffle/") == 0)
    return FileAnswer(server.ruffleDir, PercentDecode(route.substr(7)));
  return NotFound("Not found.");
}

std::string AnswerHead(const HttpAnswer& answer, unsigned long long contentLength) {
  const char* reason = answer.status == 200   ? "OK"
                       : answer.status == 302 ? "Found"
                       : answer.status == 404 ? "Not Found"
                                              : "Error";
  std::string head = "HTTP/1.0 " + std::to_string(answer.status) + " " + reason + "\r\n";
  head += "Content-Type: " + answer.type + "\r\n";
  head += "Content-Length: " + std::to_string(contentLength) + "\r\n";
  if (!answer.location.empty())
    head += "Location: " + answer.location + "\r\n";
  if (answer.anyOrigin)
    head += "Access-Control-Allow-Origin: *\r\n";
  head += "Cache-Control: no-store\r\nConnection: close\r\n\r\n";
  return head;
}
