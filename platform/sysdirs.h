// The system folder: the stand-in for the Windows folder, where the registry
// substitute (registry.ini), the drive table (drives.ini) and the temporary
// folder live. Its place comes from the environment at each call, so tests can
// point it at a temporary folder with SKERRY_SYSTEM_DIR.
#pragma once

#include <string>

// $SKERRY_SYSTEM_DIR if set and not empty, else
// ${XDG_STATE_HOME:-$HOME/.local/state}/skerry; made (with its parents) when
// missing. No closing separator.
std::string SystemFolderPath();

// The folder name below the system folder ("Temp", "System"), made when
// missing. No closing separator.
std::string SystemSubfolder(const char* name);

// The user's cache base: ${XDG_CACHE_HOME:-$HOME/.cache}. Not made.
std::string UserCacheHome();

// Makes path and its missing parents. Result: true when path is a folder
// afterwards.
bool MakeFolders(const std::string& path);
