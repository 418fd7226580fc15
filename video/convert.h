// Conversion and delivery: the conversion table, the one runner of ffmpeg
// and the conversion job that takes finished downloads from the drop place,
// converts them and delivers the results to the target folder.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// --- The tool ---

// The ffmpeg that runs: the one beside the program, else the first on PATH.
// Empty when there is none.
std::string FfmpegPath();

// What the installed build offers of the options of the conversion table.
// Asked once per tool path and process (two short runs), then cached.
struct FfmpegAbilities {
  bool libfaac = false; // the AAC encoder of "-acodec libfaac"
  bool sameq = false;   // the option "-sameq"
};
FfmpegAbilities FfmpegBuild(const std::string& ffmpegPath);

// What one run of the tool came to.
struct FfmpegOutcome {
  bool ok = false;   // exit code 0
  int exitCode = -1; // -1 when the tool didn't start or didn't end in time
  // Empty when ok, else a short reason fit for a status line: "no ffmpeg",
  // "exit 1: <the tool's last message>", "timed out", "no progress for 120 s".
  std::string error;
};

// Runs ffmpeg with arguments (argv[1..], as the conversion table gives
// them), reporting its progress. Options that only make it report are put
// in front ("-hide_banner -nostats -progress pipe:1"); its input is empty, so
// it never waits for keys. progress, when set, is called on this thread with
// the share done from 0 to 100, at most twice a second and only when the
// share changed. timeoutMs below 0 waits for ever; at the limit the tool is
// killed. Thread-safe; any number of runs may go at once.
// stallMs, when not below 0, ends a run whose progress (the position it
// reports) hasn't moved for that long, counted from its start.
// ffmpeg knows no end of options ("--"): every input and output path the
// roads hand it is absolute (a folder the road chose, a name it made), so
// no text that came from the web can ever stand where an option would.
FfmpegOutcome RunFfmpeg(const std::vector<std::string>& arguments,
                        const std::function<void(int percent)>& progress, int timeoutMs = -1,
                        int stallMs = -1);

// The input part of a command line for a local file (an absolute path) that
// came from the web: "-i path" behind options that let the tool open the
// file itself and nothing else (no other protocol, and only the demuxers of
// real video containers, so no playlist or concatenation leads elsewhere).
std::vector<std::string> FfmpegLocalInput(const std::string& path);

// Whether path (absolute) is a file in a container that the tool's prober
// reads under the rules of FfmpegLocalInput. False without a prober.
bool FfmpegKnowsContainer(const std::string& path);

// How long the jobs let ffmpeg's progress stand still before they give a run
// up: [Video] FfmpegStall of Define.ini in seconds, 120 when not set.
int FfmpegStallSeconds();

// The input's duration in microseconds from what ffmpeg writes to its error
// output ("Duration: 00:01:02.50, start: ..."); 0 when it names none.
long long FfmpegDuration(const std::string& errorText);

// The share done, 0 to 100, that a line of "-progress" output
// ("out_time_us=<n>") gives for a duration; -1 for any other line or no
// duration.
int FfmpegShare(const std::string& progressLine, long long durationMicros);

// --- The conversion table ---

// A format code of the video request is converted (2, 3, 14, 16, 17, 24, 26,
// 27, 100), copied (4), or kept as a Flash video (0 and anything else).
bool FormatConverts(std::uint32_t format);

// The output of conversion k of shortSource for format: "<source>-<k>.3gp"
// and so on; shortSource itself for format 4; empty for a format that has no
// row.
std::string ConversionOutput(std::uint32_t format, const std::string& shortSource, int k);

// The tool's arguments for the row of format, with the options that the
// build lacks replaced by their nearest kin ("-acodec aac" for libfaac,
// "-q:v 1" for "-sameq"). Empty for format 4 and for formats without a row.
std::vector<std::string> ConversionArguments(std::uint32_t format, const std::string& shortSource,
                                             const std::string& output,
                                             const FfmpegAbilities& build);

// The target file: target folder, display name ("/<name>~<k>"), ending of
// the format. Empty for a format without a row.
std::string ConversionTargetFile(std::uint32_t format, const std::string& target,
                                 const std::string& displayName);
