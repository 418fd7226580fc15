// The player page is the old page's look (black, the name in yellow above the
// player) with a video element that loops like the old players. Its script
// falls back to the stream on the element's error; a stream can't seek, so
// its loop is a fresh request at its end.
#include "browser/video_player.h"

#include "browser/game_server.h"
#include "platform/page_text.h"

#include <sys/stat.h>

#include <cctype>

namespace {

bool EndsWithNoCase(const std::string& text, const std::string& end) {
  if (text.size() < end.size())
    return false;
  for (std::size_t i = 0; i < end.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(text[text.size() - end.size() + i])) != end[i])
      return false;
  return true;
}

bool IsRegularFile(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// "Video: h264 (High)" -> "h264"; empty when the probe shows no such stream.
std::string CodecOf(const std::string& probe, const char* kind) {
  std::size_t at = probe.find(std::string(kind) + ": ");
  if (at == std::string::npos)
    return std::string();
  at += std::char_traits<char>::length(kind) + 2;
  std::size_t end = at;
  while (end < probe.size() &&
         (std::isalnum(static_cast<unsigned char>(probe[end])) || probe[end] == '_'))
    ++end;
  return probe.substr(at, end - at);
}

} // namespace

std::string MediaOfPlayerPage(const std::string& pagePath) {
  if (!EndsWithNoCase(pagePath, ".htw"))
    return std::string();
  std::string media = pagePath.substr(0, pagePath.size() - 4);
  // The media menu's endings, and the sounds that player pages know too.
  static const char* const endings[] = {".flv", ".mpg",  ".wmv", ".avi", ".mov", ".mp4",
                                        ".rm",  ".rmvb", ".3gp", ".mp3", ".wav", ".wma"};
  for (const char* e : endings)
    if (EndsWithNoCase(media, e))
      return IsRegularFile(media) ? media : std::string();
  return std::string();
}

std::string VideoPlayerPage(const std::string& media, const std::string& streamUrl) {
  std::string name = media.substr(media.rfind('/') + 1);
  std::string fileUrl = "file://" + PercentEncode(media, true);
  return "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>" + PageText(name) +
         "</title>\n<style>html,body{margin:0;height:100%;background:#000;overflow:hidden}"
         "b{display:block;height:20px;color:#FFFF00;font:bold 14px sans-serif;white-space:nowrap}"
         "video{display:block;width:100%;height:calc(100% - 20px);background:#000}</style></head>\n"
         "<body><b> " +
         PageText(name) + " </b>\n<video id=\"player\" autoplay loop controls src=\"" + fileUrl +
         "\"></video>\n<script>\nconst player = document.getElementById('player');\n"
         "const stream = '" +
         streamUrl +
         "';\nlet streaming = false;\n"
         "function playStream() {\n"
         "  streaming = true;\n"
         "  player.loop = false;\n"
         "  player.src = stream + '&at=' + Date.now();\n"
         "  player.play().catch(() => {});\n"
         "}\n"
         "player.addEventListener('error', () => { if (!streaming) playStream(); });\n"
         "player.addEventListener('ended', () => { if (streaming) playStream(); });\n"
         "</script></body></html>\n";
}

std::string VideoStreamUrl(const std::string& base, const std::string& media) {
  return base + "/video?path=" + PercentEncode(media, false);
}

std::string MediaOfStreamRequest(const std::string& token, const std::string& target) {
  std::string head = "/" + token + "/video?path=";
  if (token.empty() || target.compare(0, head.size(), head) != 0)
    return std::string();
  std::string rest = target.substr(head.size());
  std::size_t amp = rest.find('&');
  std::string media = PercentDecode(rest.substr(0, amp));
  if (media.empty() || media[0] != '/' || media.find('\0') != std::string::npos)
    return std::string();
  return MediaOfPlayerPage(media + ".htw").empty() || !IsRegularFile(media + ".htw") ? std::string()
                                                                                     : media;
}

std::vector<std::string> StreamArguments(const std::string& media, const std::string& probeText) {
  std::string video = CodecOf(probeText, "Video");
  std::string audio = CodecOf(probeText, "Audio");
  bool openVideo = video == "vp8" || video == "vp9";
  bool openAudio = audio.empty() || audio == "vorbis" || audio == "opus";
  std::vector<std::string> args = {"-hide_banner", "-nostats", "-loglevel", "error", "-i",
                                   media,          "-map",     "0:v:0?",    "-map",  "0:a:0?"};
  if (openVideo && openAudio) {
    args.insert(args.end(), {"-c", "copy"});
  } else {
    args.insert(args.end(), {"-c:v", "libvpx", "-deadline", "realtime", "-cpu-used", "8", "-b:v",
                             "1M", "-c:a", "libvorbis", "-ac", "2"});
  }
  args.insert(args.end(), {"-f", "webm", "pipe:1"});
  return args;
}
