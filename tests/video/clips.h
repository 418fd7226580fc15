// Tiny clips made by the real ffmpeg, what ffprobe says of a file, and the
// video site's watch pages, for the video tests. A temporary folder per test
// holds everything.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

// A clip of seconds of test picture and tone, w x h, in the container that
// path's ending names (".flv" gets the Flash video codecs of the old site).
inline bool MakeClip(const std::string& path, double seconds, int w = 160, int h = 120) {
  std::string codecs;
  if (path.size() > 4 && path.compare(path.size() - 4, 4, ".flv") == 0)
    codecs = "-c:v flv1 -c:a mp3 -ar 22050 ";
  std::string cmd =
      "ffmpeg -nostdin -loglevel error -y -f lavfi -i testsrc=size=" + std::to_string(w) + "x" +
      std::to_string(h) + ":rate=25 -f lavfi -i sine=frequency=440:sample_rate=44100 -t " +
      std::to_string(seconds) + " " + codecs + "'" + path + "'";
  return std::system(cmd.c_str()) == 0;
}

// The bytes of a one-second clip with ending (".flv", ".mp4"), made once.
inline const std::string& ClipBytes(const std::string& ending) {
  static std::map<std::string, std::string> made;
  std::string& bytes = made[ending];
  if (bytes.empty()) {
    std::string path = "/tmp/skerry-clip-" + std::to_string(getpid()) + ending;
    if (MakeClip(path, 1)) {
      std::ifstream in(path, std::ios::binary);
      bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    std::remove(path.c_str());
  }
  return bytes;
}

// An address as the site put it into its format map: escaped as a whole,
// so escapes the address holds itself come out escaped twice ("%2C" as
// "%252C"), as the real site's addresses were.
inline std::string Escaped(const std::string& url) {
  std::string out;
  for (char c : url) {
    const char* hex = "0123456789ABCDEF";
    if (std::string(":/?=&%").find(c) != std::string::npos)
      out += std::string("%") + hex[(c >> 4) & 15] + hex[c & 15];
    else
      out += c;
  }
  return out;
}

// A watch page with a format map of (format, address) pairs, as the video
// site wrote it into the player's variables.
inline std::string WatchPage(const std::vector<std::pair<std::string, std::string>>& map) {
  std::string fields;
  for (const auto& [format, url] : map)
    fields += (fields.empty() ? "" : "%2C") + format + "%7C" + Escaped(url);
  return "<html><script>var flashvars = \"fmt_url_map=" + fields +
         "&amp;vq=None\";</script></html>";
}

struct Probe {
  std::string container; // format_name
  std::string video;     // codec of the first video stream
  std::string audio;     // codec of the first audio stream
  int width = 0;
  int height = 0;
};

inline std::string ProbeField(const std::string& path, const char* select, const char* entries) {
  std::string cmd = std::string("ffprobe -v error ") + (select ? "-select_streams " : "") +
                    (select ? select : "") + " -show_entries " + entries +
                    " -of default=noprint_wrappers=1:nokey=1 '" + path + "' 2>/dev/null";
  std::string out;
  if (FILE* p = popen(cmd.c_str(), "r")) {
    char buf[256];
    while (std::fgets(buf, sizeof buf, p))
      out += buf;
    pclose(p);
  }
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r'))
    out.pop_back();
  return out;
}

inline Probe ProbeFile(const std::string& path) {
  Probe p;
  p.container = ProbeField(path, nullptr, "format=format_name");
  p.video = ProbeField(path, "v:0", "stream=codec_name");
  p.audio = ProbeField(path, "a:0", "stream=codec_name");
  std::string size = ProbeField(path, "v:0", "stream=width,height");
  std::sscanf(size.c_str(), "%d\n%d", &p.width, &p.height);
  return p;
}

inline bool FileThere(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0;
}

class TempFolder : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/skerry-video-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir = pattern;
  }
  void TearDown() override {
    std::string cmd = "chmod -R u+w '" + dir + "'; rm -rf '" + dir + "'";
    if (std::system(cmd.c_str()) != 0)
      ADD_FAILURE() << "could not remove " << dir;
  }
  std::string dir;
};
