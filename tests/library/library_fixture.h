// A temporary program folder for the library tests: program path, system
// folder (with a drive table that makes "/" drive C:), Game, Video and Web.
#pragma once

#include "shell/module_path.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

inline std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

inline void WriteText(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

inline bool Exists(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0;
}

inline void MakeDir(const std::string& path) {
  mkdir(path.c_str(), 0755);
}

inline void RemoveTree(const std::string& path) {
  std::string cmd = "rm -rf '" + path + "'";
  if (std::system(cmd.c_str()) != 0)
    ADD_FAILURE() << "could not remove " << path;
}

// Names in a folder in the order readdir gives them, as the walk sees them.
inline std::vector<std::string> ListingOrder(const std::string& folder) {
  std::vector<std::string> names;
  if (DIR* d = opendir(folder.c_str())) {
    while (dirent* e = readdir(d))
      if (std::string(e->d_name) != "." && std::string(e->d_name) != "..")
        names.push_back(e->d_name);
    closedir(d);
  }
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
    root = tmpl;
    program = root + "/prog";
    system = root + "/sys";
    MakeDir(program);
    MakeDir(system);
    MakeDir(program + "/Game");
    MakeDir(program + "/Video");
    MakeDir(program + "/Web");
    setenv("SKERRY_SYSTEM_DIR", system.c_str(), 1);
    SetModulePathForTests(program + "/skerry");
    SetDrives("C=/\n");
  }
  void TearDown() override {
    SetModulePathForTests("");
    unsetenv("SKERRY_SYSTEM_DIR");
    RemoveTree(root);
  }

  void SetDrives(const std::string& lines) {
    WriteText(system + "/drives.ini", "[Drives]\n" + lines);
  }

  // A game file below Game ("sub/x.swf"), its folders made as needed.
  std::string AddFile(const std::string& relToProgram, const std::string& body = "FWS") {
    std::string path = program + "/" + relToProgram;
    for (std::size_t i = program.size() + 1; i < path.size(); ++i)
      if (path[i] == '/')
        MakeDir(path.substr(0, i));
    WriteText(path, body);
    return path;
  }

  std::string GameMenu() const { return program + "/Web/Menu1.htm"; }
  std::string MediaMenu() const { return program + "/Web/MenuVideo.htm"; }
  std::string GameIndex() const { return program + "/iGame.ini"; }
  std::string MediaIndex() const { return program + "/iMedia.htm"; }

  std::string root, program, system;
};
