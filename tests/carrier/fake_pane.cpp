// A stand-in for the browser program, for tests: it takes the command line
// of a Pane, reaches the Panel's carrier like a Pane does, announces itself
// with 1044 + N (1046 for /h2) and a number from its pid, answers every SEND
// with 7 and writes what it saw to the log file FAKE_PANE_LOG (none: no log),
// one line each: "ARG <i> <argument>", "HELLO <answer>", "RECV <frame>".
// It ends on POST 18, when the Panel goes away, or after 20 s.
// "fake_pane --listen" instead tries to become a Panel: exit 0 when it could
// listen, 3 when refused.
#include "platform/carrier.h"
#include "platform/carrier_client.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

void Log(const std::string& line) {
  const char* path = std::getenv("FAKE_PANE_LOG");
  if (path != nullptr && *path != '\0')
    std::ofstream(path, std::ios::app) << line << "\n";
}

} // namespace

int main(int argc, char** argv) {
  std::string error;
  if (argc == 2 && std::strcmp(argv[1], "--listen") == 0) {
    if (!CarrierListen(CarrierHandlers{}, &error))
      return 3;
    CarrierClose();
    return 0;
  }
  int slot = -1;
  for (int i = 1; i < argc; ++i) {
    Log("ARG " + std::to_string(i) + " " + argv[i]);
    if (std::strncmp(argv[i], "/h", 2) == 0)
      slot = std::atoi(argv[i] + 2);
  }
  CarrierConnection c;
  long long native = 0;
  if (!CarrierConnect(&c, "", &error) || !CarrierClientHello(&c, getpid(), 3000, &native)) {
    Log("ERROR " + (error.empty() ? "no hello" : error));
    return 2;
  }
  Log("HELLO " + std::to_string(native));
  long handle = getpid() % 0xFE00 + 0x100;
  if (slot >= 0 && slot <= 10)
    CarrierClientPost(&c, slot == 2 ? 1046 : 1044 + slot, static_cast<WParam>(handle), 0);
  auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < end) {
    CarrierFrame f;
    int got = CarrierClientRead(&c, &f, 200);
    if (got < 0)
      return 0;
    if (got == 0)
      continue;
    std::string line = CarrierFormatFrame(f);
    Log("RECV " + line.substr(0, line.size() - 1));
    if (f.kind == CarrierFrameSend)
      CarrierClientReply(&c, 7);
    if (f.kind == CarrierFramePost && f.message == 18)
      return 0;
  }
  return 1;
}
