// Tips are read out of the string list 902 + LanguageOffset: fields split by
// ", ", sub-fields by "` ". The tooltip itself is the platform's tool table,
// which any thread may change, so UpdateTip is safe on job threads. Texts
// are cut to the 256-byte tip buffer at a character boundary, never in the
// middle of a UTF-8 sequence.
#include "panel/tips.h"

#include <cstring>
#include <string>

#include "panel/panel_state.h"
#include "panel/zones.h"
#include "platform/tooltips.h"
#include "resources/strings.h"
#include "shell/module_path.h"
#include "shell/texts.h"

namespace {

constexpr int ListBufferSize = 1024;
constexpr std::size_t TipBufferSize = 256;

// Walks text split at the two-byte separator sep and copies piece index to
// out. False when text has fewer pieces.
bool Piece(const char* text, char sepFirst, int index, char* out) {
  int counter = 0;
  const char* start = text;
  for (const char* p = text;; ++p) {
    bool atEnd = *p == '\0';
    if (atEnd || (p[0] == sepFirst && p[1] == ' ')) {
      if (counter == index) {
        std::size_t n = std::size_t(p - start);
        std::memcpy(out, start, n);
        out[n] = '\0';
        return true;
      }
      if (atEnd)
        return false;
      ++counter;
      start = p + 2;
      ++p;
    }
  }
}

// text cut to fit a buffer of size bytes with its end mark, at a UTF-8
// character boundary.
std::string CutToFit(std::string text, std::size_t size) {
  if (text.size() < size)
    return text;
  std::size_t n = size - 1;
  while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80)
    --n;
  text.resize(n);
  return text;
}

Rect ZoneRectFor(int zone, int rotation) {
  const ZoneRect& z = ZoneTable[zone];
  if (rotation == 90)
    return Rect{592 - z.Bottom, z.Left, 592 - z.Top, z.Right};
  return Rect{z.Left, z.Top, z.Right, z.Bottom};
}

} // namespace

int ReadListField(int id, int index, char* out) {
  char buffer[ListBufferSize];
  int length = LoadResourceString(id + LanguageOffset, buffer, ListBufferSize);
  char field[ListBufferSize];
  if (out == nullptr || index < 0 || !Piece(buffer, ',', index, field))
    return -1;
  std::strcpy(out, field);
  return length;
}

int ReadTipText(int id, int tipIndex, char* out) {
  char field[ListBufferSize];
  if (tipIndex < 0 || ReadListField(id, tipIndex / 10, field) < 0)
    return -1;
  char sub[ListBufferSize];
  if (out == nullptr || !Piece(field, '`', tipIndex % 10, sub))
    return -1;
  std::strcpy(out, sub);
  return 0;
}

Hwnd CreateTips(Hwnd window) {
  Hwnd tooltip = TooltipCreate(window);
  if (tooltip == 0)
    return 0;
  for (int zone = 0; zone < ZoneCount; ++zone) {
    char text[ListBufferSize] = "";
    ReadTipText(902, 10 * zone, text);
    if (zone == 20 || zone == 21)
      text[0] = '\0';
    else if (text[0] == '~')
      continue;
    ToolRecord tool;
    tool.Owner = window;
    tool.Id = zone;
    tool.Area = ZoneRectFor(zone, 0);
    tool.Text = CutToFit(text, TipBufferSize);
    if (!TooltipAddTool(tooltip, tool))
      return 0;
  }
  return tooltip;
}

void MoveTipRects(Hwnd, Hwnd tooltip, int count, int rotation) {
  if (count > ZoneCount)
    count = ZoneCount;
  for (int zone = 0; zone < count; ++zone)
    TooltipNewRect(tooltip, zone, ZoneRectFor(zone, rotation));
}

void UpdateTip(Hwnd, Hwnd tooltip, int zone, int) {
  if (zone < 0 || zone >= ZoneCount)
    return;
  PanelState& panel = Panel();
  int channel = panel.Channel;
  int tipIndex = 10 * zone;
  if (zone == 7 && channel == ChannelImage)
    tipIndex = 71;
  else if (zone == 20 && channel == ChannelVideoSite)
    tipIndex = 201;
  else if (zone == 20 && channel == ChannelHome)
    tipIndex = 202;
  else if (zone == 21 && (channel == ChannelGame || channel == ChannelHome))
    tipIndex = 210 + panel.DailyMode;
  else if (zone == 0 && channel == ChannelGame)
    tipIndex = 1;
  char buffer[ListBufferSize] = "";
  ReadTipText(902, tipIndex, buffer);
  std::string text = CutToFit(buffer, TipBufferSize);
  // The image player's page buttons step through pictures, and neither it
  // nor the video folder collects anything: the tips say what happens there.
  if (channel == ChannelImage && (zone == 3 || zone == 10))
    text = FixedText(TextTipNextPicture);
  else if (channel == ChannelImage && (zone == 4 || zone == 8))
    text = FixedText(TextTipPreviousPicture);
  else if (channel == ChannelImage && zone == 5)
    text = FixedText(TextTipReloadPictures);
  else if ((channel == ChannelImage || channel == ChannelVideoFolder) && (zone == 20 || zone == 21))
    text.clear();
  if (zone == 20) {
    std::string status = panel.CollectStatus.Get();
    if (!status.empty())
      text = CutToFit(status, TipBufferSize);
    if (channel == ChannelHome || channel == ChannelGame) {
      TooltipUpdateText(tooltip, zone, std::string());
      return;
    }
  }
  if (zone == 21) {
    std::string status = panel.PhoneStatus.Get();
    if (!status.empty())
      text = CutToFit(status, TipBufferSize);
  }
  if (!text.empty() && text[0] == '~')
    return;
  TooltipUpdateText(tooltip, zone, text);
}
