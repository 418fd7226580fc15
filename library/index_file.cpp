// Loading splits the text into lines at each single line break and reads
// them by the INI engine's rules (trimmed lines, "[" headers, ";" comments,
// the first "=" splitting a key line). Only the first section of a name, and
// within it the first line of a key, is editable, as only those are what a
// reader finds. The edits are recorded on the entries; IndexText lays them
// over the loaded bytes in one pass.
#include "library/index_file.h"

#include "platform/ascii.h"
#include "platform/ini.h"

#include "platform/files.h"
#include "shell/settings.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t MaxValueBytes = ProfileValueSize - 1;

// What a reader of the file gets for a stored value: trimmed, one outer pair
// of equal quotes removed.
std::string AsRead(const std::string& stored) {
  std::size_t b = 0, e = stored.size();
  IniTrim(stored, b, e);
  if (e - b >= 2 && (stored[b] == '"' || stored[b] == '\'') && stored[e - 1] == stored[b]) {
    ++b;
    --e;
  }
  return stored.substr(b, e - b);
}

bool NeedsStoreRules(const std::string& s) {
  return s.find_first_of("%@\r\n") != std::string::npos;
}

// ProfileRead's steps after the raw read.
std::string ReadForm(const std::string& raw, const std::string& file) {
  // ProfileRead hands out a C string: a NUL in the file ends the value.
  std::string t = raw.substr(0, std::min(MaxValueBytes, raw.find('\0')));
  if (!NeedsStoreRules(t))
    return t;
  char buf[ProfileValueSize];
  if (t.find('%') != std::string::npos) {
    int n = ExpandMacros(t.c_str(), buf, file.c_str());
    t.assign(buf, n > 0 ? static_cast<std::size_t>(n) : 0);
  }
  if (t.rfind("@HKEY_", 0) == 0) {
    int n = ResolveRegistryValue(t.c_str(), buf);
    t.assign(buf, n > 0 ? static_cast<std::size_t>(n) : 0);
  }
  for (std::size_t i = 0; i + 1 < t.size() && i < ProfileValueSize; ++i)
    if (t[i] == '@' && t[i + 1] == '@') {
      t[i] = '\r';
      t[i + 1] = '\n';
      ++i;
    }
  return t;
}

// ProfileWrite's steps before the raw write; a lone CR or LF left over is
// written as a blank, as the engine does, so a value stays one line.
std::string StoreForm(const std::string& value, const std::string& file) {
  std::string t = value.substr(0, MaxValueBytes);
  if (!NeedsStoreRules(t))
    return t;
  char buf[ProfileValueSize];
  std::string expanded = t;
  if (t.find('%') != std::string::npos) {
    int n = ExpandMacros(t.c_str(), buf, file.c_str());
    expanded.assign(buf, n > 0 ? static_cast<std::size_t>(n) : 0);
  }
  if (t.rfind("@HKEY_", 0) == 0) {
    int n = ResolveRegistryValue(t.c_str(), buf);
    expanded.assign(buf, n > 0 ? static_cast<std::size_t>(n) : 0);
  }
  for (std::size_t i = 0; i + 1 < expanded.size() && i < ProfileValueSize; ++i)
    if (expanded[i] == '\r' && expanded[i + 1] == '\n') {
      expanded[i] = '@';
      expanded[i + 1] = '@';
      ++i;
    }
  for (char& c : expanded)
    if (c == '\r' || c == '\n')
      c = ' ';
  return expanded;
}

IndexSection* LiveSection(IndexFile& index, const char* name) {
  auto it = index.live.find(AsciiLower(name));
  if (it == index.live.end())
    return nullptr;
  return &index.sections[it->second];
}

const IndexSection* LiveSection(const IndexFile& index, const char* name) {
  auto it = index.live.find(AsciiLower(name));
  if (it == index.live.end() || index.sections[it->second].removed)
    return nullptr;
  return &index.sections[it->second];
}

void Parse(IndexFile& index) {
  const std::string& t = index.text;
  std::size_t pos = t.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
  bool breakSeen = false;
  long group = -1;
  long editable = -1; // index into sections of the current group, if editable
  while (pos < t.size()) {
    IndexLine line;
    line.begin = pos;
    std::size_t end = t.find_first_of("\r\n", pos);
    if (end == std::string::npos)
      end = t.size();
    line.end = end;
    line.next = end;
    if (end < t.size())
      line.next = (t[end] == '\r' && end + 1 < t.size() && t[end + 1] == '\n') ? end + 2 : end + 1;
    if (!breakSeen && end < t.size()) {
      index.lineBreak = t.substr(end, line.next - end);
      breakSeen = true;
    }
    std::size_t b = line.begin, e = line.end;
    IniTrim(t, b, e);
    long lineNo = static_cast<long>(index.lines.size());
    if (b < e && t[b] == '[') {
      std::size_t close = t.find(']', b + 1);
      std::size_t nb = b + 1, ne = (close == std::string::npos || close > e) ? e : close;
      IniTrim(t, nb, ne);
      std::string name = t.substr(nb, ne - nb);
      group = static_cast<long>(index.groups.size());
      index.groups.push_back(AsciiLower(name));
      line.isHeader = true;
      editable = -1;
      if (index.live.find(index.groups.back()) == index.live.end()) {
        IndexSection s;
        s.name = name;
        s.group = group;
        s.header = lineNo;
        s.insertAfter = lineNo;
        editable = static_cast<long>(index.sections.size());
        index.live[index.groups.back()] = index.sections.size();
        index.sections.push_back(std::move(s));
      }
    } else if (b < e && t[b] != ';') {
      std::size_t eq = t.find('=', b);
      if (eq != std::string::npos && eq < e) {
        line.isKey = true;
        if (editable >= 0) {
          std::size_t kb = b, ke = eq, vb = eq + 1, ve = e;
          IniTrim(t, kb, ke);
          IniTrim(t, vb, ve);
          IndexSection& s = index.sections[editable];
          s.insertAfter = lineNo;
          std::string key = t.substr(kb, ke - kb);
          std::string lower = AsciiLower(key);
          if (s.byKey.find(lower) == s.byKey.end()) {
            s.byKey[lower] = s.entries.size();
            s.entries.push_back(IndexEntry{key, t.substr(vb, ve - vb), lineNo, false});
          }
        }
      }
    }
    line.group = group;
    index.lines.push_back(line);
    pos = line.next;
  }
}

} // namespace

void IndexLoad(IndexFile& index, const std::string& path) {
  std::string text;
  if (!ReadWholeFile(path, text, IndexFileMaxBytes))
    text.clear();
  IndexParse(index, path, std::move(text));
}

void IndexParse(IndexFile& index, const std::string& path, std::string text) {
  index = IndexFile();
  index.path = path;
  index.text = std::move(text);
  Parse(index);
}

std::string IndexKeyName(const IndexFile& index, const char* section, const std::string& key) {
  const IndexSection* s = LiveSection(index, section);
  if (!s)
    return std::string();
  auto it = s->byKey.find(AsciiLower(key));
  return it == s->byKey.end() ? std::string() : s->entries[it->second].name;
}

std::string IndexRead(const IndexFile& index, const char* section, const std::string& key) {
  const IndexSection* s = LiveSection(index, section);
  if (!s)
    return std::string();
  auto it = s->byKey.find(AsciiLower(key));
  if (it == s->byKey.end())
    return std::string();
  return ReadForm(AsRead(s->entries[it->second].value), index.path);
}

int IndexWrite(IndexFile& index, const char* section, const std::string& key,
               const std::string& value) {
  std::string stored = StoreForm(value, index.path);
  IndexSection* s = LiveSection(index, section);
  if (!s) {
    IndexSection fresh;
    fresh.name = section;
    index.live[AsciiLower(section)] = index.sections.size();
    index.created.push_back(index.sections.size());
    index.sections.push_back(std::move(fresh));
    s = &index.sections.back();
  } else if (s->removed) {
    // A section written after its removal comes back as a new one at the end.
    std::size_t at = static_cast<std::size_t>(s - index.sections.data());
    *s = IndexSection();
    s->name = section;
    if (std::find(index.created.begin(), index.created.end(), at) == index.created.end())
      index.created.push_back(at);
  }
  std::string lower = AsciiLower(key);
  auto it = s->byKey.find(lower);
  if (it == s->byKey.end()) {
    s->byKey[lower] = s->entries.size();
    s->entries.push_back(IndexEntry{key, stored, -1, true});
  } else {
    IndexEntry& e = s->entries[it->second];
    if (e.value != stored) {
      e.value = stored;
      e.changed = true;
    }
  }
  return static_cast<int>(stored.size());
}

void IndexRemoveSection(IndexFile& index, const char* section) {
  std::string lower = AsciiLower(section);
  for (IndexLine& line : index.lines)
    if (line.group >= 0 && (line.isHeader || line.isKey) &&
        index.groups[static_cast<std::size_t>(line.group)] == lower)
      line.dropped = true;
  auto it = index.live.find(lower);
  if (it == index.live.end())
    return;
  IndexSection& s = index.sections[it->second];
  s.removed = true;
  s.entries.clear();
  s.byKey.clear();
}

bool IndexKeepsText(const IndexFile& index, const std::string& text, bool asKey) {
  if (text.empty() || text.size() > MaxValueBytes)
    return false;
  if (IniIsBlank(text.front()) || IniIsBlank(text.back()))
    return false;
  if (asKey)
    return text.find_first_of("=\r\n") == std::string::npos && text[0] != ';' && text[0] != '[';
  return ReadForm(AsRead(StoreForm(text, index.path)), index.path) == text;
}

std::string IndexText(const IndexFile& index) {
  const std::string& lb = index.lineBreak;
  std::unordered_map<long, const IndexEntry*> changed;
  std::unordered_map<long, std::vector<const IndexSection*>> inserts;
  for (const IndexSection& s : index.sections) {
    if (s.removed || s.header < 0)
      continue;
    bool hasNew = false;
    for (const IndexEntry& e : s.entries) {
      if (e.line >= 0 && e.changed)
        changed[e.line] = &e;
      hasNew = hasNew || e.line < 0;
    }
    if (hasNew)
      inserts[s.insertAfter].push_back(&s);
  }
  auto endLine = [&lb](std::string& out) {
    if (!out.empty() && out.back() != '\n' && out.back() != '\r')
      out += lb;
  };
  std::string out;
  out.reserve(index.text.size() + 64);
  out.append(index.text, 0, index.lines.empty() ? index.text.size() : index.lines[0].begin);
  for (std::size_t i = 0; i < index.lines.size(); ++i) {
    const IndexLine& line = index.lines[i];
    if (!line.dropped) {
      auto c = changed.find(static_cast<long>(i));
      if (c != changed.end()) {
        out += c->second->name;
        out += '=';
        out += c->second->value;
        out.append(index.text, line.end, line.next - line.end);
      } else {
        out.append(index.text, line.begin, line.next - line.begin);
      }
    }
    auto in = inserts.find(static_cast<long>(i));
    if (in == inserts.end())
      continue;
    for (const IndexSection* s : in->second)
      for (const IndexEntry& e : s->entries)
        if (e.line < 0) {
          endLine(out);
          out += e.name;
          out += '=';
          out += e.value;
          out += lb;
        }
  }
  for (std::size_t at : index.created) {
    const IndexSection& s = index.sections[at];
    if (s.removed)
      continue;
    endLine(out);
    out += '[';
    out += s.name;
    out += ']';
    out += lb;
    for (const IndexEntry& e : s.entries) {
      out += e.name;
      out += '=';
      out += e.value;
      out += lb;
    }
  }
  return out;
}

bool IndexSave(const IndexFile& index) {
  std::string text = IndexText(index);
  if (text == index.text)
    return true;
  return WriteFileAtomically(index.path, text);
}
