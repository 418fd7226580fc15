// What the video road reads from other programs and from the loopback: the
// ffmpeg error output and progress lines behind the status line's share, and
// the request lines and probe text of the browser program's video streams.
// The browser's pure parts are compiled in here, since the fuzz targets link
// only the system's library.
#include "browser/game_server.cpp"
#include "browser/video_player.cpp"
#include "video/convert.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  long long duration = FfmpegDuration(text);
  int share = FfmpegShare(text, duration > 0 ? duration : 1);
  if (share > 100)
    __builtin_trap();
  MediaOfStreamRequest("tok", text);
  MediaOfStreamRequest("tok", "/tok/video?path=" + text);
  StreamArguments("/v/x.flv", text);
  VideoPlayerPage("/v/" + text, "http://127.0.0.1:1/tok/video?path=x");
  return 0;
}
