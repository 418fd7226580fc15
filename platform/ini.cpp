// The INI engine. A file is read whole and parsed into a Parsed record: the
// raw bytes, one Line per line break (so a write can copy every untouched
// line byte for byte) and, per section, a map of lower-cased key names to the
// line of their first occurrence (so a lookup in a large file costs a hash,
// not a scan). Parsed records are shared, immutable, and cached by path; Load
// decides whether a cached one still describes the file on disk.
//
// A file changed within the last two seconds is read again at every access,
// but parsed again only when its bytes differ from the cached ones.
//
// A write loads the file, splices the one changed line into the raw bytes and
// replaces the file by a temporary file renamed over it. Writes within the
// process are serialised by one mutex, so two threads adding keys to the same
// file never lose each other's line.
#include "platform/ini.h"

#include "platform/files.h"

#include "platform/ascii.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace {

// A file larger than this is read only up to it and never written: no
// INI-formed file of the system comes near, and a hostile download must not
// take the memory.
constexpr std::size_t MaxFileBytes = 64u << 20;
// The cache keeps at most this many files; past it, it starts over.
constexpr std::size_t MaxCachedFiles = 256;
// A file modified this recently may change again within the same timestamp
// tick, so its parse is not trusted from the cache.
constexpr std::int64_t FreshNanos = 2'000'000'000;

enum class Kind : std::uint8_t { Blank, Comment, Header, Key, Other };

// Offsets are 32 bits (files are held below MaxFileBytes): a line takes
// half the memory, which a parse of a large file feels.
struct Line {
  std::uint32_t start = 0;  // first byte of the line
  std::uint32_t termAt = 0; // first byte of its line break (== next when none)
  std::uint32_t next = 0;   // first byte of the next line
  std::uint32_t nameB = 0;  // header name or key name, trimmed
  std::uint32_t nameE = 0;
  std::uint32_t valueB = 0; // key value, trimmed
  std::uint32_t valueE = 0;
  Kind kind = Kind::Blank;
};

struct Section {
  std::string name; // as written, trimmed
  std::size_t header = 0;
  std::size_t endLine = 0; // one past its last line
  std::size_t lastKeyLine = SIZE_MAX;
  std::unordered_map<std::string, std::size_t> keys; // lower name -> line
  std::vector<std::size_t> keyOrder;                 // first lines, in file order
};

// The bytes of a file and what they say.
struct Body {
  std::string text;
  std::vector<Line> lines;
  std::vector<Section> sections;
  std::unordered_map<std::string, std::size_t> sectionIndex; // lower name -> first
};

// A file as seen at one moment: its identity and times, and its body, which
// is shared with earlier sightings whose bytes were the same.
struct Parsed {
  bool exists = false;
  dev_t dev = 0;
  ino_t ino = 0;
  off_t size = 0;
  std::int64_t mtimeNs = 0;
  std::int64_t parsedAtNs = 0;
  std::shared_ptr<const Body> body = std::make_shared<const Body>();
};

using ParsedPtr = std::shared_ptr<const Parsed>;

std::mutex cacheMutex;
// Never destroyed: job threads may still read settings while the process ends.
std::unordered_map<std::string, ParsedPtr>& cache = *new std::unordered_map<std::string, ParsedPtr>;
// Paths whose text lives in memory (IniUseText); guarded by cacheMutex.
std::unordered_map<std::string, ParsedPtr>& memoryFiles =
    *new std::unordered_map<std::string, ParsedPtr>;
std::mutex writeMutex;
std::atomic<std::size_t> parseCount{0};

std::string Trimmed(const char* s) {
  if (s == nullptr)
    return {};
  std::string t(s);
  std::size_t b = 0, e = t.size();
  IniTrim(t, b, e);
  return t.substr(b, e - b);
}

std::int64_t Nanos(const struct timespec& ts) {
  return static_cast<std::int64_t>(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

std::int64_t NowNanos() {
  struct timespec ts {};
  clock_gettime(CLOCK_REALTIME, &ts);
  return Nanos(ts);
}

void ParseText(Body& p) {
  const std::string& t = p.text;
  p.lines.reserve(static_cast<std::size_t>(std::count(t.begin(), t.end(), '\n')) + 1);
  std::size_t i = 0;
  if (t.size() >= 3 && t.compare(0, 3, "\xEF\xBB\xBF") == 0)
    i = 3;
  Section* current = nullptr;
  auto closeSection = [&] {
    if (current != nullptr)
      current->endLine = p.lines.size();
  };
  while (i < t.size()) {
    Line line;
    line.start = static_cast<std::uint32_t>(i);
    while (i < t.size() && t[i] != '\r' && t[i] != '\n')
      ++i;
    line.termAt = static_cast<std::uint32_t>(i);
    if (i < t.size())
      i += (t[i] == '\r' && i + 1 < t.size() && t[i + 1] == '\n') ? 2 : 1;
    line.next = static_cast<std::uint32_t>(i);

    std::size_t b = line.start, e = line.termAt;
    IniTrim(t, b, e);
    if (b == e) {
      line.kind = Kind::Blank;
    } else if (t[b] == '[') {
      line.kind = Kind::Header;
      std::size_t nb = b + 1, ne = nb;
      while (ne < e && t[ne] != ']')
        ++ne;
      IniTrim(t, nb, ne);
      line.nameB = static_cast<std::uint32_t>(nb);
      line.nameE = static_cast<std::uint32_t>(ne);
    } else if (t[b] == ';') {
      line.kind = Kind::Comment;
    } else {
      std::size_t eq = t.find('=', b);
      if (eq == std::string::npos || eq >= e) {
        line.kind = Kind::Other;
      } else {
        line.kind = Kind::Key;
        std::size_t kb = b, ke = eq, vb = eq + 1, ve = e;
        IniTrim(t, kb, ke);
        IniTrim(t, vb, ve);
        line.nameB = static_cast<std::uint32_t>(kb);
        line.nameE = static_cast<std::uint32_t>(ke);
        line.valueB = static_cast<std::uint32_t>(vb);
        line.valueE = static_cast<std::uint32_t>(ve);
      }
    }

    std::size_t index = p.lines.size();
    p.lines.push_back(line);
    if (line.kind == Kind::Header) {
      closeSection();
      Section s;
      s.name.assign(t, line.nameB, line.nameE - line.nameB);
      s.header = index;
      p.sections.push_back(std::move(s));
      current = &p.sections.back();
      p.sectionIndex.emplace(
          AsciiLower(std::string_view(t.data() + line.nameB, line.nameE - line.nameB)),
          p.sections.size() - 1);
    } else if (line.kind == Kind::Key && current != nullptr) {
      current->lastKeyLine = index;
      auto [it, added] = current->keys.emplace(
          AsciiLower(std::string_view(t.data() + line.nameB, line.nameE - line.nameB)), index);
      if (added)
        current->keyOrder.push_back(index);
    }
  }
  closeSection();
  parseCount.fetch_add(1, std::memory_order_relaxed);
}

std::shared_ptr<const Body> BodyOf(std::string text) {
  auto body = std::make_shared<Body>();
  body->text = std::move(text);
  ParseText(*body);
  return body;
}

// A record that stands for a file of these bytes, for text held in memory.
ParsedPtr InMemory(std::string text) {
  if (text.size() > MaxFileBytes)
    text.resize(MaxFileBytes);
  auto p = std::make_shared<Parsed>();
  p->exists = true;
  p->size = static_cast<off_t>(text.size());
  p->body = BodyOf(std::move(text));
  return p;
}

// Reads path as it is now and parses it, unless its bytes equal those of
// known (the body is then shared). A missing or unreadable file gives a record
// with exists == false.
ParsedPtr ReadFresh(const std::string& path, const Parsed* known) {
  auto p = std::make_shared<Parsed>();
  p->parsedAtNs = NowNanos();
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return p;
  struct stat st {};
  if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    close(fd);
    return p;
  }
  p->exists = true;
  p->dev = st.st_dev;
  p->ino = st.st_ino;
  p->size = st.st_size;
  p->mtimeNs = Nanos(st.st_mtim);
  std::size_t want = static_cast<std::size_t>(st.st_size) < MaxFileBytes
                         ? static_cast<std::size_t>(st.st_size)
                         : MaxFileBytes;
  std::string text(want, '\0');
  std::size_t got = 0;
  while (got < want) {
    ssize_t n = read(fd, text.data() + got, want - got);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      break;
    got += static_cast<std::size_t>(n);
  }
  close(fd);
  text.resize(got);
  if (known != nullptr && known->exists && known->body->text == text) {
    p->body = known->body;
    return p;
  }
  p->body = BodyOf(std::move(text));
  return p;
}

bool StillValid(const Parsed& p, const std::string& path) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0)
    return !p.exists;
  if (!p.exists)
    return false;
  return st.st_dev == p.dev && st.st_ino == p.ino && st.st_size == p.size &&
         Nanos(st.st_mtim) == p.mtimeNs && p.parsedAtNs - p.mtimeNs > FreshNanos;
}

ParsedPtr Load(const std::string& path) {
  ParsedPtr known;
  {
    std::lock_guard lock(cacheMutex);
    if (auto m = memoryFiles.find(path); m != memoryFiles.end())
      return m->second;
    auto it = cache.find(path);
    if (it != cache.end()) {
      if (StillValid(*it->second, path))
        return it->second;
      known = it->second;
    }
  }
  ParsedPtr fresh = ReadFresh(path, known.get());
  std::lock_guard lock(cacheMutex);
  if (!fresh->exists) {
    cache.erase(path);
    return fresh;
  }
  if (cache.size() >= MaxCachedFiles)
    cache.clear();
  cache[path] = fresh;
  return fresh;
}

const Section* FindSection(const Body& p, const std::string& name) {
  auto it = p.sectionIndex.find(AsciiLower(name));
  return it == p.sectionIndex.end() ? nullptr : &p.sections[it->second];
}

const Line* FindKey(const Body& p, const Section& s, const std::string& key) {
  auto it = s.keys.find(AsciiLower(key));
  return it == s.keys.end() ? nullptr : &p.lines[it->second];
}

// The value of a key line as the reader gets it: one outer quote pair
// removed, cut at an embedded zero byte.
std::string ValueOf(const Body& p, const Line& line, bool cutAtZero = true) {
  std::size_t b = line.valueB, e = line.valueE;
  if (e - b >= 2 && (p.text[b] == '"' || p.text[b] == '\'') && p.text[e - 1] == p.text[b]) {
    ++b;
    --e;
  }
  std::string v(p.text, b, e - b);
  std::size_t zero = v.find('\0');
  if (cutAtZero && zero != std::string::npos)
    v.resize(zero);
  return v;
}

std::string OneLine(const char* s) {
  std::string t(s);
  for (char& c : t)
    if (c == '\r' || c == '\n')
      c = ' ';
  return t;
}

// The line break that new lines get: the first one the file uses, else LF.
std::string LineBreakOf(const Body& p) {
  for (const Line& l : p.lines)
    if (l.next > l.termAt)
      return p.text.substr(l.termAt, l.next - l.termAt);
  return "\n";
}

// The file's new bytes after the write, or the old ones when nothing changes.
std::string Edited(const Body& p, const std::string& section, const char* key, const char* value) {
  const std::string& t = p.text;
  const Section* s = FindSection(p, section);
  const std::string eol = LineBreakOf(p);
  auto without = [&](std::size_t from, std::size_t to) { return t.substr(0, from) + t.substr(to); };

  if (key == nullptr) {
    if (s == nullptr)
      return t;
    std::string out;
    std::size_t at = 0;
    for (std::size_t i = s->header; i < s->endLine; ++i) {
      const Line& l = p.lines[i];
      if (i == s->header || l.kind == Kind::Key) {
        out.append(t, at, l.start - at);
        at = l.next;
      }
    }
    out.append(t, at, std::string::npos);
    return out;
  }

  const std::string k = OneLine(Trimmed(key).c_str());
  const Line* line = s != nullptr ? FindKey(p, *s, k) : nullptr;
  if (value == nullptr)
    return line == nullptr ? t : without(line->start, line->next);

  const std::string v = OneLine(value);
  if (line != nullptr) {
    std::string keyLine = t.substr(line->nameB, line->nameE - line->nameB) + "=" + v;
    return t.substr(0, line->start) + keyLine + t.substr(line->termAt);
  }
  const std::string keyLine = k + "=" + v;
  if (s != nullptr) {
    const Line& after = p.lines[s->lastKeyLine != SIZE_MAX ? s->lastKeyLine : s->header];
    if (after.next > after.termAt)
      return t.substr(0, after.next) + keyLine + eol + t.substr(after.next);
    return t.substr(0, after.termAt) + eol + keyLine + t.substr(after.termAt);
  }
  std::string out = t;
  if (!out.empty() && out.back() != '\n' && out.back() != '\r')
    out += eol;
  out += "[" + OneLine(section.c_str()) + "]" + eol + keyLine + eol;
  return out;
}

// Writes bytes over path (the file a symbolic link names, not the link) by
// the one atomic replacement of the platform, and sweeps up what killed
// writers left beside it.
bool ReplaceFile(const std::string& path, const std::string& bytes, bool existed) {
  std::string target = path;
  if (existed) {
    if (char* real = realpath(path.c_str(), nullptr)) {
      target = real;
      std::free(real);
    }
  }
  if (!WriteFileAtomically(target, bytes))
    return false;
  RemoveStaleTemporaries(target);
  return true;
}

// Stores the edited text of a path held in memory. Result: false when path
// is an ordinary file.
bool WriteInMemory(const std::string& path, const std::string& bytes) {
  std::lock_guard lock(cacheMutex);
  auto m = memoryFiles.find(path);
  if (m == memoryFiles.end())
    return false;
  m->second = InMemory(bytes);
  return true;
}

void Forget(const std::string& path) {
  std::lock_guard lock(cacheMutex);
  cache.erase(path);
}

} // namespace

namespace {

bool LookupValue(const char* file, const char* section, const char* key, std::string& value,
                 bool cutAtZero) {
  if (file == nullptr || section == nullptr || key == nullptr)
    return false;
  ParsedPtr p = Load(file);
  if (!p->exists)
    return false;
  const Section* s = FindSection(*p->body, Trimmed(section));
  if (s == nullptr)
    return false;
  const Line* line = FindKey(*p->body, *s, Trimmed(key));
  if (line == nullptr)
    return false;
  value = ValueOf(*p->body, *line, cutAtZero);
  return true;
}

} // namespace

bool IniLookup(const char* file, const char* section, const char* key, std::string& value) {
  return LookupValue(file, section, key, value, true);
}

bool IniValueHoldsZero(const char* file, const char* section, const char* key) {
  std::string raw;
  return LookupValue(file, section, key, raw, false) && raw.find('\0') != std::string::npos;
}

bool IniHasSection(const char* file, const char* section) {
  if (file == nullptr || section == nullptr)
    return false;
  ParsedPtr p = Load(file);
  return p->exists && FindSection(*p->body, Trimmed(section)) != nullptr;
}

std::string IniReadString(const char* file, const char* section, const char* key, const char* def) {
  std::string value;
  if (IniLookup(file, section, key, value))
    return value;
  value = def != nullptr ? def : "";
  while (!value.empty() && IniIsBlank(value.back()))
    value.pop_back();
  return value;
}

int IniRead(const char* file, const char* section, const char* key, const char* def, char* out,
            std::size_t size) {
  if (out == nullptr || size == 0)
    return 0;
  std::string v = IniReadString(file, section, key, def);
  std::size_t n = v.size() < size - 1 ? v.size() : size - 1;
  std::memcpy(out, v.data(), n);
  out[n] = '\0';
  return static_cast<int>(n);
}

bool IniWrite(const char* file, const char* section, const char* key, const char* value) {
  if (file == nullptr || section == nullptr || *file == '\0')
    return false;
  std::lock_guard lock(writeMutex);
  ParsedPtr p = Load(file);
  if (p->exists && static_cast<std::size_t>(p->size) > MaxFileBytes)
    return false;
  std::string bytes = Edited(*p->body, Trimmed(section), key, value);
  if (p->exists && bytes == p->body->text)
    return true;
  if (!p->exists && (key == nullptr || value == nullptr))
    return true;
  if (WriteInMemory(file, bytes))
    return true;
  bool ok = ReplaceFile(file, bytes, p->exists);
  Forget(file);
  return ok;
}

std::vector<std::string> IniKeys(const char* file, const char* section) {
  std::vector<std::string> names;
  if (file == nullptr || section == nullptr)
    return names;
  ParsedPtr p = Load(file);
  const Section* s = FindSection(*p->body, Trimmed(section));
  if (s == nullptr)
    return names;
  for (std::size_t i : s->keyOrder) {
    const Line& l = p->body->lines[i];
    names.emplace_back(p->body->text, l.nameB, l.nameE - l.nameB);
  }
  return names;
}

std::vector<std::string> IniSections(const char* file) {
  std::vector<std::string> names;
  if (file == nullptr)
    return names;
  ParsedPtr p = Load(file);
  const Body& b = *p->body;
  for (std::size_t i = 0; i < b.sections.size(); ++i) {
    auto it = b.sectionIndex.find(AsciiLower(b.sections[i].name));
    if (it != b.sectionIndex.end() && it->second == i)
      names.push_back(b.sections[i].name);
  }
  return names;
}

void IniUseText(const std::string& path, std::string text) {
  {
    // Paths given the same text share one parse.
    std::lock_guard lock(cacheMutex);
    ParsedPtr same;
    for (const auto& [other, p] : memoryFiles)
      if (p->body->text == text)
        same = p;
    if (same) {
      memoryFiles[path] = std::move(same);
      return;
    }
  }
  ParsedPtr p = InMemory(std::move(text));
  std::lock_guard lock(cacheMutex);
  memoryFiles[path] = std::move(p);
}

void IniReleaseText(const std::string& path) {
  std::lock_guard lock(cacheMutex);
  memoryFiles.erase(path);
}

void IniForgetCache() {
  std::lock_guard lock(cacheMutex);
  cache.clear();
}

std::size_t IniParseCount() {
  return parseCount.load(std::memory_order_relaxed);
}

bool IniIsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

void IniTrim(const std::string& t, std::size_t& b, std::size_t& e) {
  while (b < e && IniIsBlank(t[b]))
    ++b;
  while (e > b && IniIsBlank(t[e - 1]))
    --e;
}
