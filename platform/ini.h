// The INI engine: reading and writing single values of INI-formed files with
// the rules of the Windows profile calls (INI.md beside the design), on which
// the settings store and every reader of iGame.ini, iMedia.htm and the
// downloaded lists stand.
//
// Every call sees the file as it is now: parsed files are cached by path, and
// a cached copy is used only while the file's identity, size and modification
// time (nanoseconds) are unchanged and that time lies more than two seconds
// before the parse. All calls are thread-safe; writes to files are serialised
// within the process and replace the file atomically (temporary file in the
// same folder, then rename), so a reader or a killed writer never sees a torn
// file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Reads the value of key in section of file into out (size bytes, always
// terminated when size > 0), or def (trailing blanks removed; null is empty)
// when the file, section or key is missing. A value longer than size - 1 is
// cut. Result: the number of bytes copied, not counting the end mark.
int IniRead(const char* file, const char* section, const char* key, const char* def, char* out,
            std::size_t size);

// Whether section/key exists in file; its value (as IniRead gives it, uncut)
// into value when it does. Tells an empty value from a missing key.
bool IniLookup(const char* file, const char* section, const char* key, std::string& value);

// Whether section/key exists and its value as written holds a byte 0, which
// every reader above cuts the value at (a caller that must refuse such a value
// asks here).
bool IniValueHoldsZero(const char* file, const char* section, const char* key);

// Whether file has a section of that name (it may hold no keys).
bool IniHasSection(const char* file, const char* section);

// The same as IniRead, as a std::string, with no size limit of the caller's.
std::string IniReadString(const char* file, const char* section, const char* key,
                          const char* def = "");

// Writes key=value into section of file, making the file (not its folder),
// section and key as needed. A null value removes the key's line; a null key
// removes the section's header and key lines. Carriage returns and line feeds
// inside a name or value are written as blanks, so a value can never add a
// line of its own. Writing what is already there touches nothing.
// Result: true on success (removing what is not there succeeds).
bool IniWrite(const char* file, const char* section, const char* key, const char* value);

// The names of the keys of the first section of that name, in file order,
// first spelling of each (duplicates dropped). Empty for a missing file or
// section.
std::vector<std::string> IniKeys(const char* file, const char* section);

// The names of the sections of file in file order (duplicates dropped).
std::vector<std::string> IniSections(const char* file);

// The blanks that names and values are trimmed of (space, tab, vertical tab,
// form feed), for readers that parse INI text themselves and must agree with
// this engine.
bool IniIsBlank(char c);

// Narrows [b, e) of t to its part without leading and trailing blanks.
void IniTrim(const std::string& t, std::size_t& b, std::size_t& e);

// Makes text stand for the file at path in every call of this engine until
// IniReleaseText(path): reads parse it as they would the file's bytes, writes
// edit it in memory, and the disk is never touched. Lets a fuzzer drive every
// reader that takes a path (settings, hosts, indexes) at memory speed.
void IniUseText(const std::string& path, std::string text);
void IniReleaseText(const std::string& path);

// Drops every cached parse (tests and benchmarks that want a cold start).
void IniForgetCache();

// How many times a file was parsed since the start: lets tests prove that an
// unchanged file is served from the cache and a changed one is not.
std::size_t IniParseCount();
