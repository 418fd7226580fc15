// Tiny clips made by the real ffmpeg, what ffprobe says of a file, and the
// video site's watch pages, for the video tests.
#pragma once

#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/carrier/carrier_fixture.h"

// A clip of seconds of test picture and tone, w x h, in the container that
// path's ending names (".flv" gets the Flash video codecs of the old site).
inline bool MakeClip(const std::string& path, double seconds, int w = 160, int h = 120) {
  bool flv = path.size() > 4 && path.compare(path.size() - 4, 4, ".flv") == 0;
  std::string cmd =
      "ffmpeg -nostdin -loglevel error -y -f lavfi -i testsrc=size=" + std::to_string(w) + "x" +
      std::to_string(h) + ":rate=25 -f lavfi -i sine=frequency=440:sample_rate=44100 -t " +
      std::to_string(seconds) + (flv ? " -c:v flv1 -c:a mp3 -ar 22050 '" : " '") + path + "'";
  return std::system(cmd.c_str()) == 0;
}

// The bytes of a one-second clip with ending (".flv", ".mp4"), made once.
inline const std::string& ClipBytes(const std::string& ending) {
  static std::map<std::string, std::string> made;
  std::string& bytes = made[ending];
  std::string path = "/tmp/skerry-clip-" + std::to_string(getpid()) + ending;
  if (bytes.empty() && MakeClip(path, 1))
    bytes.assign(std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {});
  std::remove(path.c_str());
  return bytes;
}

// The shapes of today's video sites in site (a host's folder of the test
// web), made once from one clip of seconds: a progressive file, an HLS stream
// and a DASH stream with separate audio, the streams each in renditions of
// 128x96, 176x144 and 320x240 ("hls/v<i>_*.ts", "dash/chunk-stream<i>-*"
// with i the rendition), and their watch pages "prog.html", "hls.html",
// "dash.html" that name the media in a <video> tag.
inline bool MakeSiteStreams(const std::filesystem::path& site, double seconds) {
  std::filesystem::create_directories(site / "hls");
  std::filesystem::create_directories(site / "dash");
  std::string src = (site / "prog.mp4").string();
  std::string split = " -filter_complex \"[0:v]split=3[a][b][c];[a]scale=128:96[v0];"
                      "[b]scale=176:144[v1];[c]scale=320:240[v2]\" -c:v libx264 -preset "
                      "ultrafast -g 5 -c:a aac ";
  std::string hls = "ffmpeg -nostdin -loglevel error -y -i '" + src + "'" + split +
                    "-map [v0] -map 0:a -map [v1] -map 0:a -map [v2] -map 0:a -f hls -hls_time 1 "
                    "-hls_playlist_type vod -master_pl_name index.m3u8 -var_stream_map "
                    "'v:0,a:0 v:1,a:1 v:2,a:2' -hls_segment_filename '" +
                    (site / "hls").string() + "/v%v_%03d.ts' '" + (site / "hls").string() +
                    "/v%v.m3u8'";
  std::string dash = "ffmpeg -nostdin -loglevel error -y -i '" + src + "'" + split +
                     "-map [v0] -map [v1] -map [v2] -map 0:a -f dash -seg_duration 1 "
                     "-adaptation_sets 'id=0,streams=v id=1,streams=a' '" +
                     (site / "dash" / "index.mpd").string() + "'";
  if (!MakeClip(src, seconds, 320, 240) || std::system(hls.c_str()) != 0 ||
      std::system(dash.c_str()) != 0)
    return false;
  const std::pair<const char*, const char*> pages[] = {
      {"prog.html", "<video src=\"/prog.mp4\"></video>"},
      {"hls.html", "<video src=\"/hls/index.m3u8\"></video>"},
      {"dash.html", "<video><source src=\"/dash/index.mpd\" type=\"application/dash+xml\">"
                    "</video>"}};
  for (const auto& [name, body] : pages)
    std::ofstream(site / name) << "<html><body>" << body << "</body></html>";
  return true;
}

// A watch page with a format map of (format, address) pairs, as the video
// site wrote it into the player's variables: each address escaped as a
// whole, so escapes it holds itself come out escaped twice ("%2C" as "%252C").
inline std::string WatchPage(const std::vector<std::pair<std::string, std::string>>& map) {
  std::string fields;
  for (const auto& [format, url] : map) {
    fields += (fields.empty() ? "" : "%2C") + format + "%7C";
    for (char c : url)
      fields +=
          std::string(":/?=&%").find(c) == std::string::npos
              ? std::string(1, c)
              : std::string("%") + "0123456789ABCDEF"[(c >> 4) & 15] + "0123456789ABCDEF"[c & 15];
  }
  return "<html><script>var flashvars = \"fmt_url_map=" + fields +
         "&amp;vq=None\";</script></html>";
}

// A card under root that passes for a phone, in the drive table of root's
// system folder; its video folder.
inline std::filesystem::path PhoneCard(const std::filesystem::path& root) {
  for (const char* sub : {"Video", "System", "Music"})
    std::filesystem::create_directories(root / "card" / sub);
  std::filesystem::create_directories(root / "system");
  std::ofstream(root / "system" / "drives.ini")
      << "[Drives]\nC=/\nD=" << (root / "card").string() << ",removable\n";
  return root / "card" / "Video";
}

// What ffprobe says of the first video and audio streams and the container.
struct Probe {
  std::string container, video, audio;
  int width = 0, height = 0;
};

inline std::string ProbeField(const std::string& path, const std::string& entries) {
  std::string out;
  if (FILE* p = popen(("ffprobe -v error " + entries + " -of default=noprint_wrappers=1:nokey=1 '" +
                       path + "' 2>/dev/null")
                          .c_str(),
                      "r")) {
    for (char buf[256]; std::fgets(buf, sizeof buf, p);)
      out += buf;
    pclose(p);
  }
  while (!out.empty() && out.back() == '\n')
    out.pop_back();
  return out;
}

inline Probe ProbeFile(const std::string& path) {
  Probe p{ProbeField(path, "-show_entries format=format_name"),
          ProbeField(path, "-select_streams v:0 -show_entries stream=codec_name"),
          ProbeField(path, "-select_streams a:0 -show_entries stream=codec_name")};
  std::sscanf(ProbeField(path, "-select_streams v:0 -show_entries stream=width,height").c_str(),
              "%d\n%d", &p.width, &p.height);
  return p;
}

// The container's duration in seconds, 0 when ffprobe names none.
inline double ProbeSeconds(const std::string& path) {
  return std::atof(ProbeField(path, "-show_entries format=duration").c_str());
}

// A test in a temporary folder of its own, dir.
class InTempFolder : public ::testing::Test {
 protected:
  TempFolder temp{"skerry-video"};
  std::string dir = temp.path;
};
