// Where the program lives, and the process-wide language. Every file of the
// system is reached through ModuleFilePath: all of them lie beside the program.
#pragma once

#include <string>

// 0 English, 1000 Traditional Chinese. Set once at start from the locale.
extern int LanguageOffset;

// Language query on the locale (LC_ALL, LC_MESSAGES, LANG): zh_TW gives
// primary 4 / sub 1 (1000), zh_CN 4/2 (2000, later read as 0), anything else 0.
int LanguageFromLocale();

// The running program's full path, from /proc/self/exe, or the path set by
// SetModulePathForTests.
std::string ModulePath();

// For tests: make the system believe the program lies at path (a file in the
// temporary program folder). An empty path goes back to /proc/self/exe.
void SetModulePathForTests(const std::string& path);

// out (at least 260 bytes) := the program's folder with its separator, then
// name. With a program path longer than the 128-character rule allows, "?"
// stands in for name so that no file is found. module is ignored (0 and the
// instance handle give the same). Result: length of out.
int ModuleFilePath(int module, char* out, const char* name);

// out := the program's folder without the closing separator. Result: length.
int ModuleDirectory(int module, char* out);

// The system folder (the Windows folder's stand-in): $SKERRY_SYSTEM_DIR, else
// ${XDG_STATE_HOME:-~/.local/state}/skerry. Made when missing.
std::string SystemFolder();

// The language query's 16-bit id: primary language in the low 10 bits,
// sublanguage above (zh_TW 4/1, zh_CN 4/2, zh_HK 4/3, zh_SG 4/4, zh_MO 4/5;
// anything else English, primary 9).
int LanguageIdFromLocale();
