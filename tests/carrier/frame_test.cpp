// Frame text: what the parser accepts and refuses, and how the line buffer
// cuts a stream that arrives in arbitrary pieces.
#include <gtest/gtest.h>

#include "platform/carrier_frame.h"

namespace {

TEST(CarrierFrame, ParsesStrictlyAndFormatsBack) {
  // clang-format off
  const struct { std::string line, formatted; } good[] = { // formatted "": as read
      {"HELLO 123", ""}, {"POST 1 18446744073709551615 0", ""}, {"POST 1 -1 0", "POST 1 18446744073709551615 0"},
      {"RET -7", ""}, {"TEXT 2010 a  b ", ""}, {"TEXT 2010", "TEXT 2010 "}, {"WINDOW MOVE 1 -1 3 -1", ""},
      {"RET 1\r", "RET 1"},
  };
  const std::string bad[] = {
      "", "post 1 2 3", "RET 1 2", "SEND 1  2 3", "RET +1", "RET 0x10", "POST -3 0 0", "POST 4294967296 0 0",
      "POST 1 0 9223372036854775808", "TEXT x y", "TEXT 1 a\tb", "WINDOW MOVE 1 2 3 4 5 6 7 8 9", "WINDOW MOVE 1 x",
      "TEXT 1 " + std::string(CarrierMaxLine, 'a'),
  };
  // clang-format on
  CarrierFrame f;
  for (const auto& row : good) {
    EXPECT_TRUE(CarrierParseFrame(row.line, &f)) << row.line;
    EXPECT_EQ(CarrierFormatFrame(f), (row.formatted.empty() ? row.line : row.formatted) + "\n");
  }
  for (const std::string& line : bad)
    EXPECT_FALSE(CarrierParseFrame(line, &f)) << line;
  f.kind = CarrierFrameText;
  f.number = 2010;
  f.text = "a\nPOST 1033 8 99\r";
  EXPECT_EQ(CarrierFormatFrame(f), "TEXT 2010 a POST 1033 8 99 \n") << "a line break smuggled";
}

TEST(CarrierFrame, LineBufferCutsPiecesAndDropsOverlongLines) {
  std::string stream = "HELLO 1\n" + std::string(CarrierMaxLine + 10, 'x') + "\nRET 5\n" +
                       std::string(CarrierMaxLine, 'y') + "\npartial";
  for (std::size_t piece : {std::size_t{1}, std::size_t{4096}, stream.size()}) {
    CarrierLineBuffer b;
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < stream.size(); i += piece)
      CarrierFeed(&b, stream.data() + i, std::min(piece, stream.size() - i), &lines);
    EXPECT_EQ(lines,
              (std::vector<std::string>{"HELLO 1", "RET 5", std::string(CarrierMaxLine, 'y')}))
        << "piece " << piece;
    EXPECT_EQ(b.partial, "partial");
  }
}

} // namespace
