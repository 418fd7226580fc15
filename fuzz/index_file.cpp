// Any bytes as iGame.ini: loading and writing back unchanged gives the same
// bytes, every key the index finds reads as the INI engine reads it, and the
// edits of a rebuild always give a text the engine reads back as written.
// The file is held in memory (IndexParse, IniUseText): nothing touches the
// disk.
#include "library/index_file.h"
#include "platform/ini.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/nonexistent/skerry-fuzz-index/iGame.ini";
  std::string text(reinterpret_cast<const char*>(data), size);
  IniUseText(path, text);

  IndexFile index;
  IndexParse(index, path, text);
  if (IndexText(index) != text)
    std::abort();
  for (const IndexSection& s : index.sections)
    for (const IndexEntry& e : s.entries) {
      std::string engine;
      // C strings end at a NUL, so such names can't be asked for.
      bool plain = e.value.find_first_of("%@") == std::string::npos && e.value.size() < 1000 &&
                   e.name.find('\0') == std::string::npos && s.name.find('\0') == std::string::npos;
      if (plain &&
          (!IniLookup(path.c_str(), s.name.c_str(), e.name.c_str(), engine) ||
           engine.substr(0, engine.find('\0')) != IndexRead(index, s.name.c_str(), e.name)))
        std::abort();
    }

  IndexRemoveSection(index, "GameNo");
  IndexWrite(index, "GameName", "Game/new.swf", "7");
  IndexWrite(index, "GameNo", "7", "Game/new.swf");
  IndexWrite(index, "Status", "Files", "7");
  IniUseText(path, IndexText(index));
  if (IniReadString(path.c_str(), "GameNo", "7") != "Game/new.swf" ||
      IniReadString(path.c_str(), "Status", "Files") != "7")
    std::abort();
  return 0;
}
