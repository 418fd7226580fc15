// A temporary program folder for the library tests: program path, system
// folder (with a drive table that makes "/" drive C:), Game, Video and Web.
#pragma once

#include "library/menus.h"
#include "platform/ini.h"
#include "tests/web/web_env.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

// Every occurrence of from in text, replaced by to.
inline void Replace(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
    text.replace(at, from.size(), to), at += to.size();
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
    env = MakeWebEnv();
    root = env.root.string(), program = env.program.string(), system = root + "/system";
    for (const char* d : {"/Game", "/Video", "/Web"})
      fs::create_directories(program + d);
    fs::create_directories(system);
    SetDrives("C=/\n");
  }
  void TearDown() override { DropWebEnv(env); }

  void SetDrives(const std::string& lines) {
    WriteWhole(system + "/drives.ini", "[Drives]\n" + lines);
  }
  // A file below the program folder ("Game/sub/x.swf"), its folders made.
  std::string AddFile(const std::string& relToProgram, const std::string& body = "FWS") {
    std::string path = program + "/" + relToProgram;
    fs::create_directories(fs::path(path).parent_path());
    WriteWhole(path, body);
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

  std::string GameMenu() const { return program + "/Web/Menu1.htm"; }
  std::string MediaMenu() const { return program + "/Web/MenuVideo.htm"; }
  std::string GameIndex() const { return program + "/iGame.ini"; }
  std::string MediaIndex() const { return program + "/iMedia.htm"; }

  WebEnv env;
  std::string root, program, system;
};
