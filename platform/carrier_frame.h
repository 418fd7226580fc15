// Frames of the carrier: LF-ended ASCII lines, fields split by one blank.
// Shared by the Panel's server (platform/carrier.cpp) and the client API
// (platform/carrier_client.h). Nothing here does I/O.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/win.h"

// Longest line accepted, LF excluded. Longer lines are dropped whole.
constexpr std::size_t CarrierMaxLine = 4096;

enum CarrierFrameKind {
  CarrierFrameHello,  // HELLO <number>: a client's pid, or the Panel's answer
  CarrierFramePost,   // POST <message> <wParam> <lParam>
  CarrierFrameSend,   // SEND <message> <wParam> <lParam>, answered by RET
  CarrierFrameRet,    // RET <result>
  CarrierFrameText,   // TEXT <control> <text to the end of the line>
  CarrierFrameWindow, // WINDOW <op> <decimal args...>
};

struct CarrierFrame {
  CarrierFrameKind kind = CarrierFrameHello;
  unsigned message = 0;
  WParam w = 0;
  LParam l = 0;
  long long number = 0;   // HELLO's number, RET's result, TEXT's control
  std::string text;       // TEXT's text, WINDOW's op
  std::vector<long> args; // WINDOW's arguments (at most 8)
};

// Parses one line without its LF (a trailing CR is tolerated). False for
// anything malformed: unknown verb, missing or non-decimal number, a number
// out of range, extra fields, control characters.
bool CarrierParseFrame(const std::string& line, CarrierFrame* out);

// The line for a frame, LF included.
std::string CarrierFormatFrame(const CarrierFrame& frame);
std::string CarrierFormatPost(unsigned message, WParam w, LParam l);
std::string CarrierFormatSend(unsigned message, WParam w, LParam l);

// Cuts a byte stream into lines. Bytes go in as they arrive; whole lines come
// out. A line that grows past CarrierMaxLine is dropped up to its LF, so a
// flood costs at most CarrierMaxLine bytes of memory.
struct CarrierLineBuffer {
  std::string partial;
  bool skipping = false; // inside an over-long line, waiting for its LF
};

// Appends data and moves every completed line (without LF) to lines.
void CarrierFeed(CarrierLineBuffer* buffer, const char* data, std::size_t size,
                 std::vector<std::string>* lines);

// Reads what the socket fd has without waiting, at most about budget bytes,
// through buffer into lines. False when the peer closed or the read failed.
bool CarrierDrain(int fd, CarrierLineBuffer* buffer, std::size_t budget,
                  std::vector<std::string>* lines);
