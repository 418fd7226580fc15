// One table of the fixed texts, English and Traditional Chinese side by side;
// an empty twin means the text is shown in English in both languages.
#include "shell/texts.h"

#include "shell/module_path.h"

namespace {

struct TextRow {
  const char* english;
  const char* chinese;
};

const TextRow Texts[TextCount] = {
    {"Do you want to exit %s ?", "是否要離開 %s ?"},
    {"Bitmap file not found, Please re-install !", ""},
    {"Got %d games from top list.", ""},
    {"Do you want to close game plat or delete file ?(YES: Close, NO: Delete File.)",
     "關閉本視窗 或 刪除檔案 ?(是: 關閉, 否: 刪除此檔)"},
    {"Number not found, select again.", ""},
    {"Delete File :\n%s", ""},
    {"Please wait...", ""},
    {"New game not found !", ""},
    {"Search a new game from internet ! Yes or no ?", ""},
    {"Please connect mobile-phone !", ""},
    {"Video link must be under @Vexan service !", ""},
    {"Next Picture", "下一張相片"},
    {"Previous Picture", "上一張相片"},
    {"Reload the Pictures", "重新載入相片"},
};

} // namespace

const char* FixedText(TextId id) {
  if (id < 0 || id >= TextCount)
    return "";
  const TextRow& row = Texts[id];
  if (LanguageOffset == 1000 && row.chinese[0] != '\0')
    return row.chinese;
  return row.english;
}

std::string FormatText(TextId id, const std::string& value) {
  std::string text = FixedText(id);
  for (const char* mark : {"%s", "%d"}) {
    std::size_t at = text.find(mark);
    if (at != std::string::npos)
      return text.replace(at, 2, value);
  }
  return text;
}
