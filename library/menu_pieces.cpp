// Each piece is formatted into a buffer of MenuPieceMax + 1 bytes, the size
// the page's pieces have always had; a piece that wouldn't fit is not
// written rather than cut. Head and tail are written as they stand, without
// formatting, so the single percent sign of the head is literal.
#include "library/menu_pieces.h"

#include "platform/page_text.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

std::uint32_t MenuItemCount = 0;

namespace {
constexpr std::uint32_t IndexNumberMax = 999999999; // nine digits
}
void (*RebuildPauseForTests)() = nullptr;

namespace {

constexpr const char* Head =
    "<html>\n<head><meta http-equiv=\"Content-Type\" content=\"text/html;charset=\">\n"
    "<title>menu</title><base target=\"_self\"></head>\n"
    "<body bgcolor=\"#000000\" link=\"#000000\" vlink=\"#000000\" alink=\"#000000\">\n"
    "<div align=\"center\">\n  <center>\n"
    "<table border=\"0\" cellpadding=\"0\" cellspacing=\"0\" style=\"border-style:none; "
    "border-collapse:collapse\" width=\"100%\" height=\"25\" id=\"AutoNumber1\" "
    "bordercolor=\"#000000\">\n";

constexpr const char* RowStart = "<tr><a name=page%02u></a>\n";

constexpr const char* ItemCell =
    "\t<td><a href=\"%s\" target=\"main\">\n<img src=\"%s\" alt=\"%s\" title=\"%s\" width=\"19\" "
    "height=\"19\" align=\"left\" hspace=\"0\">\n</a></td>\n";

constexpr const char* BlankCell = "\t<td>\n<img src=\"%s\" alt=\"\" width=\"19\" height=\"19\" "
                                  "align=\"left\" hspace=\"0\">\n</a></td>\n";

constexpr const char* GameNavigation =
    " \t<td><a target=\"_self\" href=\"menu1.htm#page%02u\"> <img src=\"%s\" alt=\"Prev of "
    "Page%02u\" width=\"20\" height=\"20\" align=\"left\" hspace=\"0\"></a>\n<a "
    "target=\"_self\" href=\"menu1.htm#page%02u\"> <img src=\"%s\" alt=\"Next of Page%02u\" "
    "width=\"20\" height=\"20\" align=\"right\" hspace=\"0\"></a></td>\n</tr>\n";

constexpr const char* MediaNavigation =
    " \t<td><a target=\"_self\" href=\"%s#page%02u\"> <img src=\"%s\" alt=\"Prev of "
    "Page%02u\" width=\"20\" height=\"20\" align=\"left\" hspace=\"0\"></a>\n<a "
    "target=\"_self\" href=\"%s#page%02u\"> <img src=\"%s\" alt=\"Next of Page%02u\" "
    "width=\"20\" height=\"20\" align=\"right\" hspace=\"0\"></a></td>\n</tr>\n";

constexpr const char* Tail = "    </tr>\n  </table>\n  </center>\n</div>\n</body>\n</html>\n";

constexpr const char* IconTemplate = "icon/yellow%02u.jpg";

// One formatted piece, whatever its length.
template <typename... Args> std::string Format(const char* format, Args... args) {
  int n = std::snprintf(nullptr, 0, format, args...);
  if (n < 0)
    return std::string();
  std::string piece(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(piece.data(), piece.size(), format, args...);
  piece.pop_back();
  return piece;
}

// Appends one formatted piece; false when it would exceed MenuPieceMax.
template <typename... Args> bool Append(MenuFile& menu, const char* format, Args... args) {
  std::string piece = Format(format, args...);
  if (piece.empty() || piece.size() > MenuPieceMax)
    return false;
  menu.text += piece;
  return true;
}

} // namespace

std::mutex& MenuRebuildMutex() {
  static std::mutex m;
  return m;
}

bool MenuCreate(MenuFile& menu, const char* menuPath) {
  menu.text.clear();
  return BeginFileReplacement(menuPath, menu.file);
}

int MenuFinish(MenuFile& menu) {
  return FinishFileReplacement(menu.file, menu.text) ? 1 : 0;
}

void WriteMenuHead(MenuFile& menu) {
  menu.text += Head;
}

void WriteRowStart(MenuFile& menu, std::uint32_t page) {
  Append(menu, RowStart, page);
}

bool WriteItemCell(MenuFile& menu, const std::string& link, const std::string& icon,
                   const std::string& alt) {
  // The name again as the icon's tooltip.
  menu.text += Format(ItemCell, link.c_str(), icon.c_str(), alt.c_str(), alt.c_str());
  return true;
}

void WriteBlankCell(MenuFile& menu) {
  Append(menu, BlankCell, ItemIcon(0).c_str());
}

void WriteNavigationCell(MenuFile& menu, const char* menuName, std::uint32_t page, bool last) {
  const char* prevIcon = page <= 1 ? "icon/yellowprevdis.jpg" : "icon/yellowprev.jpg";
  const char* nextIcon = last ? "icon/yellownextdis.jpg" : "icon/yellownext.jpg";
  if (menuName) {
    // The limit holds for the name as it is; its escaped form is written.
    if (Format(MediaNavigation, menuName, page - 1, prevIcon, page, menuName, page + 1, nextIcon,
               page)
            .size() > MenuPieceMax)
      return;
    std::string name = PageAddress(menuName);
    menu.text += Format(MediaNavigation, name.c_str(), page - 1, prevIcon, page, name.c_str(),
                        page + 1, nextIcon, page);
  } else
    Append(menu, GameNavigation, page - 1, prevIcon, page, page + 1, nextIcon, page);
}

void WriteMenuTail(MenuFile& menu) {
  menu.text += Tail;
}

std::string ItemIcon(std::uint32_t cell) {
  char icon[32];
  std::snprintf(icon, sizeof icon, IconTemplate, cell);
  return icon;
}

void BeginItemCell(MenuFile& menu, const char* menuName) {
  std::uint32_t c = MenuItemCount;
  if (c % 10 != 0)
    return;
  if (c >= 10)
    WriteNavigationCell(menu, menuName, c / 10, false);
  WriteRowStart(menu, c / 10 + 1);
}

void CloseMenuRows(MenuFile& menu, const char* menuName) {
  std::uint32_t count = MenuItemCount;
  if (count == 0) {
    WriteRowStart(menu, 1);
    for (int i = 0; i < 10; ++i)
      WriteBlankCell(menu);
    WriteNavigationCell(menu, menuName, 1, true);
    return;
  }
  for (std::uint32_t c = count; c % 10 != 0; ++c)
    WriteBlankCell(menu);
  std::uint32_t index = count / 10 - (count % 10 == 0 ? 1 : 0);
  WriteNavigationCell(menu, menuName, index + 1, true);
}

bool RelativeBelow(const std::string& base, const std::string& full, std::string& rel) {
  if (base.empty() || full.size() <= base.size() + 1 || full.compare(0, base.size(), base) != 0)
    return false;
  if (base.back() != '/' && full[base.size()] != '/')
    return false;
  std::size_t from = base.back() == '/' ? base.size() : base.size() + 1;
  std::string r = full.substr(from);
  std::size_t start = 0;
  for (;;) {
    std::size_t slash = r.find('/', start);
    std::string part =
        r.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
    if (part.empty() || part == "." || part == "..")
      return false;
    if (slash == std::string::npos)
      break;
    start = slash + 1;
  }
  rel = r;
  return true;
}

std::uint32_t IndexNumber(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
    ++i;
  std::uint32_t value = 0;
  std::size_t digits = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    if (++digits > 9)
      return 0;
    value = value * 10 + static_cast<std::uint32_t>(text[i] - '0');
  }
  return value;
}

namespace {

// A relative path that the index can't store as it stands (a name with "=",
// a leading ";" or "[", blanks at an end, a macro or a backslash, or one that
// another spelling of the same letters holds already, as keys are found
// ignoring case) is stored as "/" and the lower-case hex of its bytes: no
// relative path begins with "/", and every spelling gets a key of its own.
std::string HexForm(const std::string& rel) {
  static const char digits[] = "0123456789abcdef";
  std::string out = "/";
  for (unsigned char c : rel) {
    out += digits[c >> 4];
    out += digits[c & 15];
  }
  return out;
}

bool StoredAsItStands(const IndexRun& run, const std::string& rel) {
  return rel.find('\\') == std::string::npos && IndexKeepsText(run.index, rel, true) &&
         IndexKeepsText(run.index, rel, false);
}

// The key of rel among the names, given the form its path is stored in: that
// form, or the hex form where another spelling holds the plain key already.
std::string NameKey(const IndexRun& run, const std::string& rel, const std::string& stored) {
  if (stored != rel)
    return stored;
  std::string held = IndexKeyName(run.index, run.nameSection, rel);
  return held.empty() || held == rel ? rel : HexForm(rel);
}

// The path that a stored value stands for; empty for a broken hex form.
std::string FromStored(const std::string& stored) {
  if (stored.empty() || stored[0] != '/') {
    std::string rel = stored;
    for (char& c : rel)
      if (c == '\\')
        c = '/';
    return rel;
  }
  auto value = [](char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
  };
  std::string rel;
  for (std::size_t i = 1; i + 1 < stored.size(); i += 2) {
    int high = value(stored[i]), low = value(stored[i + 1]);
    if (high < 0 || low < 0)
      return std::string();
    rel += static_cast<char>(high * 16 + low);
  }
  return stored.size() % 2 == 1 ? rel : std::string();
}

} // namespace

std::uint32_t IndexedFiles(const IndexRun& run) {
  return IndexNumber(IndexRead(run.index, "Status", "Files"));
}

std::uint32_t AssignNumber(IndexRun& run, const std::string& rel) {
  std::uint32_t files = IndexedFiles(run);
  const std::string stored = StoredAsItStands(run, rel) ? rel : HexForm(rel);
  const std::string key = NameKey(run, rel, stored);
  std::uint32_t held = IndexNumber(IndexRead(run.index, run.nameSection, key));
  if (held >= 1 && held <= files) {
    IndexWrite(run.index, run.numberSection, std::to_string(held), stored);
    return held;
  }
  if (files >= IndexNumberMax) {
    run.full = true;
    return 0;
  }
  std::uint32_t n = files + 1;
  std::string number = std::to_string(n);
  IndexWrite(run.index, run.nameSection, key, number);
  IndexWrite(run.index, run.numberSection, number, stored);
  IndexWrite(run.index, "Status", "Files", number);
  return n;
}

bool IndexHasGap(const IndexRun& run) {
  if (run.full)
    return true;
  std::uint32_t files = IndexedFiles(run);
  for (std::uint32_t n = 1; n <= files; ++n)
    if (IndexRead(run.index, run.numberSection, std::to_string(n)).empty())
      return true;
  return false;
}

std::string NumberedPath(const IndexRun& run, std::uint32_t n) {
  std::string rel = FromStored(IndexRead(run.index, run.numberSection, std::to_string(n)));
  std::string checked;
  if (!RelativeBelow(run.programDir, run.programDir + "/" + rel, checked))
    return std::string();
  return rel;
}
