// The conversion table run by the real ffmpeg on a tiny clip: every row
// that the end-to-end road leaves out gives a file of the right container,
// codec and size; the runner reads the share done from its progress lines.
#include "tests/video/clips.h"
#include "video/convert.h"

namespace {

class ConvertTable : public TempFolder {};

TEST_F(ConvertTable, CommandTextFollowsTheBuild) {
  FfmpegAbilities today; // neither libfaac nor -sameq
  auto joined = [](const std::vector<std::string>& v) {
    std::string s;
    for (const std::string& w : v)
      s += (s.empty() ? "" : " ") + w;
    return s;
  };
  EXPECT_EQ(joined(ConversionArguments(100, "/v/a~1", "/v/a~1-1.3gp", today)),
            "-y -i /v/a~1 -f 3gp -acodec aac -s 176x144 /v/a~1-1.3gp");
  EXPECT_EQ(joined(ConversionArguments(2, "s", "o", today)), "-y -i s -vcodec mpeg4 -q:v 1 o");
}

TEST(FfmpegProgress, SharesFromTheToolsWords) {
  struct Row {
    const char* error;
    long long duration;
  } durations[] = {
      {"Input #0, flv\n  Duration: 00:00:30.02, start: 0.000", 30020000},
      {"  Duration: 01:02:03.5, bitrate", 3723500000},
      {"  Duration: N/A, start", 0},
      {"  Duration: 00:00", 0},
      {"  Duration: 99999999999999999999:00:00.00", 999999LL * 3600 * 1000000},
      {"no duration here", 0},
  };
  for (const Row& row : durations)
    EXPECT_EQ(FfmpegDuration(row.error), row.duration) << row.error;
  EXPECT_EQ(FfmpegShare("out_time_us=15010000", 30020000), 50);
  EXPECT_EQ(FfmpegShare("out_time_us=-5", 30020000), 0);
  EXPECT_EQ(FfmpegShare("out_time_us=99999999999999999999999", 30020000), 100);
  EXPECT_EQ(FfmpegShare("out_time_us=100", 0), -1);
  EXPECT_EQ(FfmpegShare("progress=continue", 30020000), -1);
}

TEST_F(ConvertTable, EveryRowMakesAFileThatPlays) {
  std::string ffmpeg = FfmpegPath();
  ASSERT_FALSE(ffmpeg.empty());
  FfmpegAbilities build = FfmpegBuild(ffmpeg);
  std::string source = dir + "/Clip0000~1";
  ASSERT_TRUE(MakeClip(source + ".flv", 0.5));
  ASSERT_EQ(rename((source + ".flv").c_str(), source.c_str()), 0);
  struct Row {
    std::uint32_t format;
    const char* container;
    const char* video;
    int width, height;
  };
  // The rows the end-to-end road doesn't take (it takes 2, 3, 4, 26, 100).
  const Row rows[] = {
      {14, "mpeg", "mpeg2video", 480, 480}, {16, "mpeg", "mpeg2video", 720, 480},
      {17, "mpeg", "mpeg2video", 720, 480}, {24, "mpeg", "mpeg2video", 480, 576},
      {27, "mpeg", "mpeg2video", 720, 576},
  };
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
