// Which file a player page plays, which requests the stream listener
// answers, and when a stream is a remux rather than a conversion.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "browser/video_player.h"
#include "tests/carrier/carrier_fixture.h"

namespace {

TEST(VideoPlayer, PagesAndRequestsLeadOnlyToVideosWithAPage) {
  TempFolder temp("skerry-player");
  const std::string& dir = temp.path;
  ASSERT_FALSE(dir.empty());
  for (const char* name : {"a b.flv", "a b.flv.htw", "Clip.MP4", "Clip.MP4.htw", "notes.txt",
                           "notes.txt.htw", "lonely.avi", "it's <x>.wmv", "it's <x>.wmv.htw"})
    std::ofstream(dir + "/" + name) << "x";
  struct Row {
    const char* page;
    const char* media; // "" none
  } rows[] = {
      {"/a b.flv.htw", "/a b.flv"},
      {"/notes.txt.htw", ""},
      {"/gone.flv.htw", ""},
      {"/Clip.MP4", ""},
      {"/it's <x>.wmv.htw", "/it's <x>.wmv"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.page);
    std::string want = *row.media ? dir + row.media : std::string();
    EXPECT_EQ(MediaOfPlayerPage(dir + row.page), want);
  }

  std::string base = "http://127.0.0.1:9/tok";
  auto target = [&](const std::string& media) {
    return VideoStreamUrl(base, media).substr(std::string("http://127.0.0.1:9").size());
  };
  EXPECT_EQ(MediaOfStreamRequest("tok", target(dir + "/a b.flv")), dir + "/a b.flv");
  EXPECT_EQ(MediaOfStreamRequest("tok", target(dir + "/it's <x>.wmv")), dir + "/it's <x>.wmv");
  EXPECT_EQ(MediaOfStreamRequest("other", target(dir + "/a b.flv")), "");
  EXPECT_EQ(MediaOfStreamRequest("", "//video?path=" + dir + "/a b.flv"), "");
  EXPECT_EQ(MediaOfStreamRequest("tok", target(dir + "/lonely.avi")), ""); // no page beside
  EXPECT_EQ(MediaOfStreamRequest("tok", target(dir + "/notes.txt")), "");
  EXPECT_EQ(MediaOfStreamRequest("tok", target("a b.flv")), "");
  EXPECT_EQ(MediaOfStreamRequest("tok", "/tok/video?path=%2Fetc%2Fpasswd"), "");

  // The page quotes what it shows.
  std::string media = dir + "/it's <x>.wmv";
  std::string page = VideoPlayerPage(media, VideoStreamUrl(base, media));
  EXPECT_NE(page.find("<b> it&#39;s &lt;x&gt;.wmv </b>"), std::string::npos);
  EXPECT_EQ(page.find("<x>"), std::string::npos);
  EXPECT_NE(page.find("src=\"file://" + dir + "/it%27s%20%3Cx%3E.wmv\""), std::string::npos);
  EXPECT_NE(page.find("'http://127.0.0.1:9/tok/video?path=%2F"), std::string::npos);
}

TEST(StreamArguments, RemuxOpenFormsConvertTheRest) {
  auto joined = [](const std::vector<std::string>& v) {
    std::string s;
    for (const std::string& w : v)
      s += " " + w;
    return s;
  };
  struct Row {
    const char* probe;
    bool copies;
  } rows[] = {
      {"Stream #0:0: Video: vp8, yuv420p\n  Stream #0:1: Audio: vorbis, 44100 Hz", true},
      {"Stream #0:0: Video: vp8\n  Stream #0:1: Audio: aac (LC)", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.probe);
    std::string args = joined(StreamArguments("/v/x.flv", row.probe));
    EXPECT_EQ(args.find(" -c copy ") != std::string::npos, row.copies);
    EXPECT_EQ(args.find(" -c:v libvpx ") != std::string::npos, !row.copies);
    EXPECT_NE(args.find(" -i /v/x.flv "), std::string::npos);
    EXPECT_NE(args.find(" -f webm pipe:1"), std::string::npos);
  }
}

} // namespace
