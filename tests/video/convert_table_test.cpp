// The conversion table run by the real ffmpeg on a tiny clip: every row
// that the end-to-end road leaves out gives a file of the right container,
// codec and size; the runner reads the share done from its progress lines.
#include "tests/video/clips.h"
#include "video/convert.h"

namespace {

class ConvertTable : public TempFolder {};

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
  // The rows the end-to-end road doesn't take (it takes 2, 3, 4, 26, 100).
  const std::tuple<std::uint32_t, int, int> rows[] = {
      {14, 480, 480}, {16, 720, 480}, {17, 720, 480}, {24, 480, 576}, {27, 720, 576}};
  for (const auto& [format, width, height] : rows) {
    SCOPED_TRACE(format);
    std::string output = ConversionOutput(format, source, 1);
    FfmpegOutcome got = RunFfmpeg(ConversionArguments(format, source, output, build), {});
    EXPECT_TRUE(got.ok) << got.error;
    Probe p = ProbeFile(output);
    EXPECT_EQ(p.container, "mpeg");
    EXPECT_EQ(p.video, "mpeg2video");
    EXPECT_FALSE(p.audio.empty());
    EXPECT_EQ(p.width, width);
    EXPECT_EQ(p.height, height);
  }
}

} // namespace
