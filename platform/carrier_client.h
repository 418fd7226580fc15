// The client side of the carrier, plain POSIX: what a Pane (the browser
// program), a second Panel and the tests use to talk to a running Panel.
//
// A connection is a record owned by the caller; one thread uses it at a time.
// Frames that arrive while the caller waits for something else (a HELLO
// answer, a RET) are kept in order and handed out by CarrierClientRead.
// fd may be watched for reading by an event loop, which then calls
// CarrierClientRead with timeout 0 until it gives 0.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "platform/carrier_frame.h"

struct CarrierConnection {
  int fd = -1;
  CarrierLineBuffer in;
  std::deque<CarrierFrame> queued;
};

// Connects to path (CarrierSocketPath() when empty). False with a reason.
bool CarrierConnect(CarrierConnection* c, const std::string& path, std::string* error);
void CarrierDisconnect(CarrierConnection* c);

// HELLO <pid>, then waits for the Panel's HELLO. True with its number (the
// Panel's native window id, or 0) in nativeWindow.
bool CarrierClientHello(CarrierConnection* c, int pid, int timeoutMs, long long* nativeWindow);

// Writes whole frames; each waits at most a few seconds for a Panel that
// doesn't read. False when the connection is broken.
bool CarrierClientPost(CarrierConnection* c, unsigned message, WParam w, LParam l);
bool CarrierClientText(CarrierConnection* c, int control, const std::string& text);
bool CarrierClientWindow(CarrierConnection* c, const std::string& op,
                         const std::vector<long>& args);
bool CarrierClientReply(CarrierConnection* c, LResult result); // RET to a SEND we got
bool CarrierClientWriteRaw(CarrierConnection* c, const std::string& bytes);

// SEND, then waits for the RET at most timeoutMs. False on time-out or a
// broken connection.
bool CarrierClientSend(CarrierConnection* c, unsigned message, WParam w, LParam l, int timeoutMs,
                       LResult* result);

// The next incoming frame, waiting at most timeoutMs. 1 with a frame, 0 on
// time-out, -1 when the connection is closed and nothing is left.
int CarrierClientRead(CarrierConnection* c, CarrierFrame* out, int timeoutMs);
