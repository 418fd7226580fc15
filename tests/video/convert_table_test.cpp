// The conversion table run by the real ffmpeg on a tiny clip: every row
// that converts gives a file of the right container, codec and size; the
// runner reads the share done from its progress lines.
#include "tests/video/clips.h"
#include "video/convert.h"

namespace {

class ConvertTable : public InTempFolder {};

TEST(FfmpegProgress, SharesFromTheToolsWords) {
  const std::pair<const char*, long long> durations[] = {
      {"Input #0, flv\n  Duration: 00:00:30.02, start: 0.000", 30020000},
      {"  Duration: 01:02:03.5, bitrate", 3723500000},
      {"  Duration: N/A, start", 0},
      {"  Duration: 00:00", 0},
      {"  Duration: 99999999999999999999:00:00.00", 999999LL * 3600 * 1000000},
      {"no duration here", 0}};
  for (const auto& [error, duration] : durations)
    EXPECT_EQ(FfmpegDuration(error), duration) << error;
  const std::tuple<const char*, long long, int> shares[] = {
      {"out_time_us=15010000", 30020000, 50},
      {"out_time_us=-5", 30020000, 0},
      {"out_time_us=99999999999999999999999", 30020000, 100},
      {"out_time_us=100", 0, -1},
      {"progress=continue", 30020000, -1}};
  for (const auto& [line, duration, share] : shares)
    EXPECT_EQ(FfmpegShare(line, duration), share) << line;
}

TEST_F(ConvertTable, EveryRowMakesAFileThatPlays) {
  // Where the build lacks libfaac and -sameq: native AAC, a fixed quality.
  FfmpegAbilities today;
  auto joined = [](const std::vector<std::string>& v) {
    std::string s;
    for (const std::string& w : v)
      s += (s.empty() ? "" : " ") + w;
    return s;
  };
  std::string input = joined(FfmpegLocalInput("/v/a~1"));
  EXPECT_EQ(joined(ConversionArguments(100, "/v/a~1", "/v/a~1-1.3gp", today)),
            "-y " + input + " -f 3gp -acodec aac -s 176x144 /v/a~1-1.3gp");
  EXPECT_EQ(joined(ConversionArguments(2, "/v/a~1", "o", today)),
            "-y " + input + " -vcodec mpeg4 -q:v 1 o");

  std::string ffmpeg = FfmpegPath();
  ASSERT_FALSE(ffmpeg.empty());
  FfmpegAbilities build = FfmpegBuild(ffmpeg);
  std::string source = dir + "/Clip0000~1";
  ASSERT_TRUE(MakeClip(source + ".flv", 0.5));
  ASSERT_EQ(rename((source + ".flv").c_str(), source.c_str()), 0);
  struct Row {
    std::uint32_t format;
    const char *container, *video;
    int width, height;
  } rows[] = {{2, "avi", "mpeg4", 160, 120},
              {3, "asf", "wmv2", 160, 120},
              {100, "mov,mp4,m4a,3gp,3g2,mj2", "h263", 176, 144},
              {14, "mpeg", "mpeg2video", 480, 480},
              {16, "mpeg", "mpeg2video", 720, 480},
              {17, "mpeg", "mpeg2video", 720, 480},
              {24, "mpeg", "mpeg2video", 480, 576},
              {26, "mpeg", "mpeg2video", 720, 576},
              {27, "mpeg", "mpeg2video", 720, 576}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.format);
    std::string output = ConversionOutput(row.format, source, 1);
    FfmpegOutcome got = RunFfmpeg(ConversionArguments(row.format, source, output, build), {});
    EXPECT_TRUE(got.ok) << got.error;
    Probe p = ProbeFile(output);
    EXPECT_EQ(p.container, row.container);
    EXPECT_EQ(p.video, row.video);
    EXPECT_FALSE(p.audio.empty());
    EXPECT_EQ(p.width, row.width);
    EXPECT_EQ(p.height, row.height);
  }
}

} // namespace
