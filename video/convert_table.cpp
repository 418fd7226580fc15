// The conversion table: one row per format code, with the command line in
// the tool's own words. Options that today's builds dropped are swapped for
// their nearest kin only when the build at hand lacks them, so a build that
// has them runs the table's exact text.
#include "video/convert.h"

namespace {

struct ConversionRow {
  std::uint32_t format;
  const char* ending;     // of the output and of the target file
  const char* options;    // between "-i <source>" and the output; blanks separate
  const char* targetName; // the -target value of the MPEG rows, else null
};

constexpr ConversionRow Rows[] = {
    {100, ".3gp", "-f 3gp -acodec libfaac -s 176x144", nullptr},
    {2, ".avi", "-vcodec mpeg4 -sameq", nullptr},
    {3, ".wmv", "-vcodec wmv2", nullptr},
    {4, ".mp4", nullptr, nullptr},
    {14, ".mpg", "-f mpeg -target @ -aspect 4:3", "ntsc-svcd"},
    {16, ".mpg", "-f mpeg -target @ -aspect 4:3", "ntsc-dvd"},
    {17, ".mpg", "-f mpeg -target @ -aspect 16:9", "ntsc-dvd"},
    {24, ".mpg", "-f mpeg -target @ -aspect 4:3", "pal-svcd"},
    {26, ".mpg", "-f mpeg -target @ -aspect 4:3", "pal-dvd"},
    {27, ".mpg", "-f mpeg -target @ -aspect 16:9", "pal-dvd"},
};

const ConversionRow* RowOf(std::uint32_t format) {
  for (const ConversionRow& row : Rows)
    if (row.format == format)
      return &row;
  return nullptr;
}

} // namespace

bool FormatConverts(std::uint32_t format) {
  return format != 0 && RowOf(format) != nullptr;
}

std::string ConversionOutput(std::uint32_t format, const std::string& shortSource, int k) {
  const ConversionRow* row = RowOf(format);
  if (!row)
    return std::string();
  if (!row->options)
    return shortSource;
  return shortSource + "-" + std::to_string(k) + row->ending;
}

std::vector<std::string> ConversionArguments(std::uint32_t format, const std::string& shortSource,
                                             const std::string& output,
                                             const FfmpegAbilities& build) {
  const ConversionRow* row = RowOf(format);
  if (!row || !row->options)
    return {};
  // Input and output are absolute paths: neither can be read as an option.
  std::vector<std::string> args = {"-y"};
  for (const std::string& word : FfmpegLocalInput(shortSource))
    args.push_back(word);
  std::string options = row->options;
  std::size_t start = 0;
  while (start < options.size()) {
    std::size_t blank = options.find(' ', start);
    std::string word = options.substr(start, blank == std::string::npos ? blank : blank - start);
    start = blank == std::string::npos ? options.size() : blank + 1;
    if (word == "@") {
      args.push_back(row->targetName);
    } else if (word == "libfaac" && !build.libfaac) {
      args.push_back("aac");
    } else if (word == "-sameq" && !build.sameq) {
      args.push_back("-q:v");
      args.push_back("1");
    } else {
      args.push_back(word);
    }
  }
  args.push_back(output);
  return args;
}

std::string ConversionTargetFile(std::uint32_t format, const std::string& target,
                                 const std::string& displayName) {
  const ConversionRow* row = RowOf(format);
  if (!row)
    return std::string();
  return target + displayName + row->ending;
}
