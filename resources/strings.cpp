// The compiled-in string lists and menus. Texts are UTF-8 and stand exactly
// as the program shows them; the lists keep their two-level grammar (fields
// split by ", ", sub-fields by "` "), which the tip readers walk.
#include "resources/strings.h"

#include <cstring>
#include <iterator>

namespace {

struct StringEntry {
  int Id;
  const char* Text;
};

const StringEntry Strings[] = {
    {902, "Close` Close/Delete, Maximize, Minimize, Forward, Backward, Refresh, ~7Start, "
          "Refresh` Pause` Messenger` Video Play, Backward` Game` Game, "
          "Start / Max` Image Play` Image Play, Forward` Channel` Channel, Home Page, Exit, "
          "~14, ~15, ~16, ~17, Rotate, Change Skin, Topmost, "
          "Collect Games from Cache` Collect the Video` Collect Top Games, "
          "Collect the Video to Phone` Daily Collection(Prompt)Setting:Right-Click` "
          "Daily Collection(Auto)` Daily Collection(Disable), Mute, Date, ~25, 0"},
    {1902,
     "關閉本頁` 關閉本頁/刪除檔案, 最大化, 最小化, 下一頁, 上一頁, 重新整理, ~7Start, "
     "重新整理` 暫停` 電訊大廳` 播放存檔影片, 上一步` 數位遊戲` 數位遊戲, "
     "開始播放` 數位相框開始/放大` 數位相框開始/放大, 下一步` 網路頻道` 網路頻道, 首頁, 離開, "
     "~14, ~15, ~16, ~17, 旋轉面板, 更換面板, 最上層, "
     "收藏正在Cache的遊戲` 收藏影片`  收藏排行榜上的遊戲, "
     "收藏影片到手機` 每日搜集(手動)Setting:Right-Click` "
     "每日搜集(自動)` 每日搜集(關閉), 靜音, 日曆, ~25, 0"},
};

const MenuEntry TrayMenuEnglish[] = {
    {40001, "&Open UI"},      {40002, "&Daily Collection"}, {40003, "Hot &News"},
    {40004, "&Video Folder"}, {40005, "&Pictures"},         {0, ""},
    {214, "&Exit"},
};
const MenuEntry TrayMenuChinese[] = {
    {40001, "開啟面板(&O)"},   {40002, "每日搜集(&D)"}, {40003, "最新消息(&N)"},
    {40004, "影片資料夾(&V)"}, {40005, "圖片(&P)"},     {0, ""},
    {214, "離開(&E)"},
};

} // namespace

int LoadResourceString(int id, char* out, int size) {
  if (out == nullptr || size <= 0)
    return 0;
  out[0] = '\0';
  for (const StringEntry& entry : Strings) {
    if (entry.Id != id)
      continue;
    std::size_t n = std::strlen(entry.Text);
    if (n > std::size_t(size - 1))
      n = std::size_t(size - 1);
    std::memcpy(out, entry.Text, n);
    out[n] = '\0';
    return int(n);
  }
  return 0;
}

int LoadResourceMenu(int id, const MenuEntry** entries) {
  if (entries == nullptr)
    return 0;
  if (id == 100) {
    *entries = TrayMenuEnglish;
    return int(std::size(TrayMenuEnglish));
  }
  if (id == 1100) {
    *entries = TrayMenuChinese;
    return int(std::size(TrayMenuChinese));
  }
  return 0;
}

const char* ResourceFileName(int id) {
  switch (id) {
  case 100:
    return "Res/Icon100.png";
  case 208:
    return "Res/Bitmap208.bmp";
  case 209:
    return "Res/Bitmap209.bmp";
  case 210:
    return "Res/Bitmap210.bmp";
  case 211:
    return "Res/Bitmap211.bmp";
  default:
    return nullptr;
  }
}
