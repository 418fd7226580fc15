// A temporary program folder for the library tests: program path, system
// folder (with a drive table that makes "/" drive C:), Game, Video and Web.
#pragma once

#include "library/menus.h"
#include "platform/ini.h"
#include "shell/module_path.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

inline std::string ReadText(const std::string& path) {
  std::stringstream s;
  s << std::ifstream(path, std::ios::binary).rdbuf();
  return s.str();
}

inline void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// Names in a folder in the order the walk meets them.
inline std::vector<std::string> ListingOrder(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(folder))
    names.push_back(e.path().filename());
  return names;
}

// The alt texts of the item cells of a menu page, in page order.
inline std::vector<std::string> Alts(const std::string& page) {
  std::vector<std::string> alts;
  for (std::size_t at = page.find("target=\"main\">"); at != std::string::npos;
       at = page.find("target=\"main\">", at + 1)) {
    std::size_t b = page.find("alt=\"", at) + 5;
    alts.push_back(page.substr(b, page.find('"', b) - b));
  }
  return alts;
}

class LibraryFolder : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/skl-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    root = tmpl, program = root + "/prog", system = root + "/sys";
    for (const char* d : {"/Game", "/Video", "/Web"})
      fs::create_directories(program + d);
    fs::create_directories(system);
    setenv("SKERRY_SYSTEM_DIR", system.c_str(), 1);
    SetModulePathForTests(program + "/skerry");
    SetDrives("C=/\n");
  }
  void TearDown() override {
    SetModulePathForTests("");
    unsetenv("SKERRY_SYSTEM_DIR");
    fs::remove_all(root);
  }

  void SetDrives(const std::string& lines) {
    WriteText(system + "/drives.ini", "[Drives]\n" + lines);
  }
  // A file below the program folder ("Game/sub/x.swf"), its folders made.
  std::string AddFile(const std::string& relToProgram, const std::string& body = "FWS") {
    std::string path = program + "/" + relToProgram;
    fs::create_directories(fs::path(path).parent_path());
    WriteText(path, body);
    return path;
  }
  int RebuildGame(const std::string& patterns = "*.swf,*.htm,*.html") {
    return RebuildGameMenu(GameMenu().c_str(), (program + "/Game").c_str(), patterns.c_str());
  }
  int RebuildMedia(const std::string& patterns) {
    return RebuildMediaMenu(MediaMenu().c_str(), (program + "/Video").c_str(), patterns.c_str());
  }
  std::string Index(const char* section, const std::string& key) {
    return IniReadString(GameIndex().c_str(), section, key.c_str());
  }
  static bool Exists(const std::string& path) { return fs::exists(path); }

  std::string GameMenu() const { return program + "/Web/Menu1.htm"; }
  std::string MediaMenu() const { return program + "/Web/MenuVideo.htm"; }
  std::string GameIndex() const { return program + "/iGame.ini"; }
  std::string MediaIndex() const { return program + "/iMedia.htm"; }

  std::string root, program, system;
};
