// The numbering state files iGame.ini and iMedia.htm, held in memory for the
// length of one rebuild and written back once at its end.
//
// A rebuild reads and writes thousands of keys; going to the file for each
// would rewrite it thousands of times. Nothing but a rebuild writes these
// files, and rebuilds run one at a time, so the file is read once, edited
// here, and replaced once. The edits follow the INI engine's rules (lines
// the edits don't concern stay byte for byte, a changed key keeps its place
// and spelling, a new key goes after the last key line of its section, a new
// section goes at the end), and values pass through the settings store's
// rules: IndexRead gives what ProfileRead would give, IndexWrite stores what
// ProfileWrite would store.
//
// An IndexFile belongs to the thread that loaded it.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

struct IndexEntry {
  std::string name;  // key as written in the file, trimmed
  std::string value; // stored text: what the file holds after the "="
  long line = -1;    // its line in the loaded text; -1 for a new key
  bool changed = false;
};

struct IndexSection {
  std::string name;
  long group = -1;       // its occurrence in IndexFile::groups; -1 for a new section
  long header = -1;      // line of its header; -1 for a new section
  long insertAfter = -1; // new keys follow this line (last key line, or the header)
  bool removed = false;
  std::vector<IndexEntry> entries;
  std::unordered_map<std::string, std::size_t> byKey; // lower-case key -> entry
};

struct IndexLine {
  std::size_t begin = 0; // first byte
  std::size_t end = 0;   // first byte of its line break
  std::size_t next = 0;  // first byte of the next line
  long group = -1;       // the section occurrence the line lies in; -1 before any header
  bool isKey = false;
  bool isHeader = false;
  bool dropped = false;
};

struct IndexFile {
  std::string path;
  std::string text; // bytes as loaded (a byte-order mark included)
  std::vector<IndexLine> lines;
  std::vector<std::string> groups;                   // lower-case name of each header, in order
  std::vector<IndexSection> sections;                // only the first of each name
  std::unordered_map<std::string, std::size_t> live; // lower-case name -> section
  std::vector<std::size_t> created;                  // new sections, in creation order
  std::string lineBreak = "\n";
};

// Index files larger than this are taken as empty: the system's own files
// never come near it, and a foreign one must not take the memory.
constexpr std::size_t IndexFileMaxBytes = 32u << 20;

// Loads path (a missing or unreadable file is an empty index).
void IndexLoad(IndexFile& index, const std::string& path);

// Loads text as the bytes of the file at path (what IndexLoad does once it
// has read them); IndexSave would write to path.
void IndexParse(IndexFile& index, const std::string& path, std::string text);

// The key of section that key finds (keys are found ignoring case), spelled
// as stored; empty when there is none.
std::string IndexKeyName(const IndexFile& index, const char* section, const std::string& key);

// The value of section/key as ProfileRead would give it: macros expanded,
// a registry reference followed, "@@" turned into a line break; at most
// 1,023 bytes. Empty when the key is missing.
std::string IndexRead(const IndexFile& index, const char* section, const std::string& key);

// Sets section/key to value as ProfileWrite would store it. Result: the
// stored text's length.
int IndexWrite(IndexFile& index, const char* section, const std::string& key,
               const std::string& value);

// Removes every section of that name with its keys (comment and blank lines
// inside stay), as a write with no key does.
void IndexRemoveSection(IndexFile& index, const char* section);

// Whether text reads back unchanged after IndexWrite: no macro, no
// reference, no line break or "@@" that the store's rules would turn into
// something else. A key must also hold no "=" and no blank at either end.
bool IndexKeepsText(const IndexFile& index, const std::string& text, bool asKey);

// The file's text with every edit applied.
std::string IndexText(const IndexFile& index);

// Writes the edited text if it differs from what was loaded (atomically).
// Result: false when the write failed.
bool IndexSave(const IndexFile& index);
