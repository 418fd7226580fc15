// The conversion table run by the real ffmpeg on a tiny clip: every
// converting row gives a file of the right container, codec and size, and
// the runner tells a failure with the tool's own words and reads the share
// done from its progress lines.
#include "tests/video/clips.h"
#include "video/convert.h"

namespace {

class ConvertTable : public TempFolder {};

TEST_F(ConvertTable, CommandTextFollowsTheBuild) {
  FfmpegAbilities old;
  old.libfaac = old.sameq = true;
  FfmpegAbilities today;
  auto joined = [](const std::vector<std::string>& v) {
    std::string s;
    for (const std::string& w : v)
      s += (s.empty() ? "" : " ") + w;
    return s;
  };
  EXPECT_EQ(joined(ConversionArguments(100, "/v/a~1", "/v/a~1-1.3gp", old)),
            "-y -i /v/a~1 -f 3gp -acodec libfaac -s 176x144 /v/a~1-1.3gp");
  EXPECT_EQ(joined(ConversionArguments(100, "/v/a~1", "/v/a~1-1.3gp", today)),
            "-y -i /v/a~1 -f 3gp -acodec aac -s 176x144 /v/a~1-1.3gp");
  EXPECT_EQ(joined(ConversionArguments(2, "s", "o", old)), "-y -i s -vcodec mpeg4 -sameq o");
  EXPECT_EQ(joined(ConversionArguments(2, "s", "o", today)), "-y -i s -vcodec mpeg4 -q:v 1 o");
  EXPECT_EQ(joined(ConversionArguments(27, "s", "o", today)),
            "-y -i s -f mpeg -target pal-dvd -aspect 16:9 o");
  EXPECT_TRUE(ConversionArguments(4, "s", "o", today).empty());
  EXPECT_TRUE(ConversionArguments(5, "s", "o", today).empty());
  EXPECT_EQ(ConversionOutput(4, "/d/Clip0000~3", 3), "/d/Clip0000~3");
  EXPECT_EQ(ConversionOutput(14, "/d/Clip0000~3", 3), "/d/Clip0000~3-3.mpg");
  EXPECT_EQ(ConversionTargetFile(100, "/card/Videos", "/Clip0000~3"),
            "/card/Videos/Clip0000~3.3gp");
  EXPECT_FALSE(FormatConverts(0));
  EXPECT_FALSE(FormatConverts(99));
  EXPECT_TRUE(FormatConverts(4));
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
  const Row rows[] = {
      {100, "mov,mp4,m4a,3gp,3g2,mj2", "h263", 176, 144},
      {2, "avi", "mpeg4", 160, 120},
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
  EXPECT_EQ(ProbeFile(ConversionOutput(100, source, 1)).audio, "aac");
}

TEST_F(ConvertTable, FailureSaysWhy) {
  FfmpegOutcome got = RunFfmpeg({"-y", "-i", dir + "/missing", dir + "/out.avi"}, {});
  EXPECT_FALSE(got.ok);
  EXPECT_NE(got.exitCode, 0);
  EXPECT_NE(got.error.find("missing"), std::string::npos) << got.error;
  EXPECT_FALSE(FileThere(dir + "/out.avi"));
}

} // namespace
