// Frame text: what the parser accepts and refuses, and how the line buffer
// cuts a stream that arrives in arbitrary pieces.
#include <gtest/gtest.h>

#include "platform/carrier_frame.h"

namespace {

struct ParseRow {
  const char* name;
  std::string line;
  bool ok;
  std::string formatted; // the frame written back, when ok
};

TEST(CarrierFrame, ParsesStrictlyAndFormatsBack) {
  const ParseRow rows[] = {
      {"hello", "HELLO 123", true, "HELLO 123\n"},
      {"post", "POST 1033 20100 0", true, "POST 1033 20100 0\n"},
      {"post wparam 64 bit", "POST 1 18446744073709551615 0", true,
       "POST 1 18446744073709551615 0\n"},
      {"post negative wparam wraps", "POST 1 -1 0", true, "POST 1 18446744073709551615 0\n"},
      {"ret", "RET -7", true, "RET -7\n"},
      {"text keeps blanks", "TEXT 2010 a  b ", true, "TEXT 2010 a  b \n"},
      {"text empty", "TEXT 2010", true, "TEXT 2010 \n"},
      {"window move", "WINDOW MOVE 1 -1 3 -1", true, "WINDOW MOVE 1 -1 3 -1\n"},
      {"carriage return", "RET 1\r", true, "RET 1\n"},
      {"empty", "", false, ""},
      {"lower case verb", "post 1 2 3", false, ""},
      {"extra field", "RET 1 2", false, ""},
      {"double blank", "SEND 1  2 3", false, ""},
      {"plus sign", "RET +1", false, ""},
      {"hex", "RET 0x10", false, ""},
      {"message negative", "POST -3 0 0", false, ""},
      {"message too big", "POST 4294967296 0 0", false, ""},
      {"lparam too big", "POST 1 0 9223372036854775808", false, ""},
      {"text bad control", "TEXT x y", false, ""},
      {"text control char", "TEXT 1 a\tb", false, ""},
      {"window too many args", "WINDOW MOVE 1 2 3 4 5 6 7 8 9", false, ""},
      {"window bad arg", "WINDOW MOVE 1 x", false, ""},
      {"over long", "TEXT 1 " + std::string(CarrierMaxLine, 'a'), false, ""},
  };
  for (const ParseRow& row : rows) {
    CarrierFrame f;
    EXPECT_EQ(CarrierParseFrame(row.line, &f), row.ok) << row.name;
    if (row.ok) {
      EXPECT_EQ(CarrierFormatFrame(f), row.formatted) << row.name;
    }
  }
}

TEST(CarrierFrame, TextCannotSmuggleALineBreak) {
  CarrierFrame f;
  f.kind = CarrierFrameText;
  f.number = 2010;
  f.text = "a\nPOST 1033 8 99\r";
  EXPECT_EQ(CarrierFormatFrame(f), "TEXT 2010 a POST 1033 8 99 \n");
}

TEST(CarrierFrame, LineBufferCutsPiecesAndDropsOverlongLines) {
  std::string stream = "HELLO 1\nPOST 1 2 3\n" + std::string(CarrierMaxLine + 10, 'x') +
                       "\nRET 5\n" + std::string(CarrierMaxLine, 'y') + "\npartial";
  for (std::size_t piece : {std::size_t{1}, std::size_t{4096}, stream.size()}) {
    CarrierLineBuffer b;
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < stream.size(); i += piece)
      CarrierFeed(&b, stream.data() + i, std::min(piece, stream.size() - i), &lines);
    ASSERT_EQ(lines.size(), 4u) << "piece " << piece;
    EXPECT_EQ(lines[0], "HELLO 1");
    EXPECT_EQ(lines[1], "POST 1 2 3");
    EXPECT_EQ(lines[2], "RET 5");
    EXPECT_EQ(lines[3].size(), CarrierMaxLine);
    EXPECT_EQ(b.partial, "partial");
  }
}

} // namespace
