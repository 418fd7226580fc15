// The carrier's frame reader fed arbitrary bytes: the line buffer must stay
// bounded, and every line it yields either parses into a frame that formats
// back into a line the parser accepts again, or is refused.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/carrier_frame.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CarrierLineBuffer buffer;
  std::vector<std::string> lines;
  // Feed in two pieces so a cut inside a line is exercised too.
  std::size_t cut = size > 0 ? data[0] % (size + 1) : 0;
  const char* bytes = reinterpret_cast<const char*>(data);
  CarrierFeed(&buffer, bytes, cut, &lines);
  CarrierFeed(&buffer, bytes + cut, size - cut, &lines);
  if (buffer.partial.size() > CarrierMaxLine + 1)
    std::abort();
  for (const std::string& line : lines) {
    if (line.size() > CarrierMaxLine + 1)
      std::abort();
    CarrierFrame frame;
    if (!CarrierParseFrame(line, &frame))
      continue;
    std::string again = CarrierFormatFrame(frame);
    again.pop_back();
    CarrierFrame second;
    if (again.size() <= CarrierMaxLine && !CarrierParseFrame(again, &second))
      std::abort();
  }
  return 0;
}
