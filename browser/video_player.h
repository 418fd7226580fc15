// Videos of the media menu in the engine's own video element. The engine has
// no Flash plug-in and plays only open forms (WebM, Ogg), so a player page
// (<media>.htw) is answered with a page of ours that first tries the file
// itself and, when the engine refuses it, a stream of the file that ffmpeg
// remuxes (VP8/VP9 with Vorbis/Opus, or no sound) or converts (anything else)
// into WebM. The stream comes from a loopback listener of the browser program,
// under a secret first path segment; it serves only media files that have a
// player page beside them. Plain C++: the Qt side only moves bytes.
#pragma once

#include <string>
#include <vector>

// The media file of a player page: pagePath less its ".htw", when that is an
// existing regular file with an ending of the media menu (or a sound that
// player pages know: .mp3, .wav, .wma); else empty.
std::string MediaOfPlayerPage(const std::string& pagePath);

// The page that plays media (its full path) with the name shown above the
// player: the file's own address first, streamUrl when the engine can't.
std::string VideoPlayerPage(const std::string& media, const std::string& streamUrl);

// The stream's address below the listener's base ("http://127.0.0.1:<port>/<token>").
std::string VideoStreamUrl(const std::string& base, const std::string& media);

// The media file a stream request names (the target of the request line,
// "/<token>/video?path=<encoded>"), checked as MediaOfPlayerPage checks it;
// empty for anything else.
std::string MediaOfStreamRequest(const std::string& token, const std::string& target);

// ffmpeg's arguments (argv[1..]) that write media to its standard output as
// WebM; probeText is what "ffmpeg -i <media>" said about its streams.
std::vector<std::string> StreamArguments(const std::string& media, const std::string& probeText);
