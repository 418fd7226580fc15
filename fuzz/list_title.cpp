// A list entry's title as the jobs copy a game under it, and a link as the
// purge of stale cache copies splits it. The input is split at its first NUL
// byte into title and link. Checks: a copy that stands lies inside the Game
// folder of a scratch tree, and nothing is ever made beside that folder.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "games/cache_purge.h"
#include "games/list_jobs.h"

namespace fs = std::filesystem;

namespace {

fs::path Scratch() {
  static fs::path root = [] {
    char pattern[] = "/tmp/skerry-fuzz-title-XXXXXX";
    fs::path r = mkdtemp(pattern);
    fs::create_directories(r / "Game");
    fs::create_directories(r / "Cache" / "AAAA0000");
    std::ofstream(r / "from") << "FWS";
    return r;
  }();
  return root;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string all(reinterpret_cast<const char*>(data), size);
  std::size_t nul = all.find('\0');
  std::string title = all.substr(0, nul);
  std::string link = nul == std::string::npos ? std::string() : all.substr(nul + 1);
  fs::path root = Scratch();
  fs::path game = root / "Game";

  if (CopyGameUnder((root / "from").string(), game.string(), title)) {
    std::string name = title;
    for (char& c : name)
      if (c == '\\')
        c = '/';
    fs::path copy = fs::weakly_canonical(game / name);
    std::string inside = fs::canonical(game).string() + "/";
    if (copy.string().compare(0, inside.size(), inside) != 0)
      std::abort();
  }
  PurgeCachedCopies(link.c_str(), (root / "Cache").c_str());

  // Only Game, Cache and the source may stand in the scratch tree's top.
  for (const auto& e : fs::directory_iterator(root)) {
    std::string n = e.path().filename().string();
    if (n != "Game" && n != "Cache" && n != "from")
      std::abort();
  }
  std::error_code ignored;
  for (const auto& e : fs::directory_iterator(game, ignored))
    fs::remove_all(e.path(), ignored);
  return 0;
}
