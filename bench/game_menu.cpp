// Rebuilding the game menu over 1,000 and over 10,000 games in 100 folders.
// Prints how the cost grows (time for 10,000 over ten times the time for
// 1,000; target below 1.5) and what the index costs (time for 10,000 over a
// baseline measured in the same run that walks the same folders and writes
// the same page with no index; target below 4). Each time is the best of a
// few runs of a rebuild whose index is current, the usual case.
#include "library/game_index.h"
#include "library/menu_pieces.h"
#include "library/menus.h"
#include "shell/module_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

const char* const Patterns = "*.swf,*.htm,*.html";

struct Program {
  std::string folder;
  std::string menu;
  std::string games;
};

Program MakeProgram(const std::string& root, const char* name, int perFolder) {
  Program p;
  p.folder = root + "/" + name;
  p.menu = p.folder + "/Web/Menu1.htm";
  p.games = p.folder + "/Game";
  mkdir(p.folder.c_str(), 0755);
  mkdir((p.folder + "/Web").c_str(), 0755);
  mkdir(p.games.c_str(), 0755);
  for (int f = 0; f < 100; ++f) {
    std::string sub = p.games + "/folder" + std::to_string(f);
    mkdir(sub.c_str(), 0755);
    for (int g = 0; g < perFolder; ++g)
      std::ofstream(sub + "/game" + std::to_string(g) + ".swf") << "FWS";
  }
  return p;
}

template <typename F> double BestSeconds(int runs, F&& f) {
  double best = 1e30;
  for (int i = 0; i < runs; ++i) {
    auto start = std::chrono::steady_clock::now();
    f();
    std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count());
  }
  return best;
}

double TimeRebuild(const Program& p) {
  SetModulePathForTests(p.folder + "/skerry");
  RebuildGameMenu(p.menu.c_str(), p.games.c_str(), Patterns); // numbers every game once
  return BestSeconds(5, [&] { RebuildGameMenu(p.menu.c_str(), p.games.c_str(), Patterns); });
}

// The same walk and the same page, with the cells written in walk order and
// no index read or written.
double TimeBaseline(const Program& p) {
  SetModulePathForTests(p.folder + "/skerry");
  std::string host = GameLinkHost();
  std::string prefix = p.games + "/";
  return BestSeconds(5, [&] {
    MenuItemCount = 0;
    MenuFile menu;
    if (!MenuCreate(menu, (p.menu + ".base").c_str()))
      std::abort();
    WriteMenuHead(menu);
    WalkGameFolder(
        [&](const std::string& full, const FileEntry&) {
          BeginItemCell(menu, nullptr);
          WriteItemCell(menu, host + "/ombrel/TodayAD.asp?data1=" + full,
                        ItemIcon(MenuItemCount % 10 + 1), full.substr(prefix.size()));
          ++MenuItemCount;
        },
        p.games.c_str(), Patterns);
    CloseMenuRows(menu, nullptr);
    WriteMenuTail(menu);
    MenuFinish(menu);
  });
}

} // namespace

int main() {
  char tmpl[] = "/tmp/skerry-bench-XXXXXX";
  if (!mkdtemp(tmpl))
    return 1;
  std::string root = tmpl;
  std::string system = root + "/sys";
  mkdir(system.c_str(), 0755);
  std::ofstream(system + "/drives.ini") << "[Drives]\nC=/\n";
  setenv("SKERRY_SYSTEM_DIR", system.c_str(), 1);

  Program small = MakeProgram(root, "small", 10);
  Program large = MakeProgram(root, "large", 100);
  double t1k = TimeRebuild(small);
  double t10k = TimeRebuild(large);
  double base10k = TimeBaseline(large);

  std::printf("game menu rebuild, 1,000 games:  %.4f s\n", t1k);
  std::printf("game menu rebuild, 10,000 games: %.4f s\n", t10k);
  std::printf("baseline (walk and page, no index), 10,000 games: %.4f s\n", base10k);
  std::printf("ratio growth   t(10,000) / (10 * t(1,000)) = %.2f (target < 1.5)\n",
              t10k / (10 * t1k));
  std::printf("ratio baseline t(10,000) / baseline        = %.2f (target < 4)\n", t10k / base10k);

  SetModulePathForTests("");
  std::string cmd = "rm -rf '" + root + "'";
  return std::system(cmd.c_str()) == 0 ? 0 : 1;
}
