// A page is one template filled with the file's names; the template comes
// from the extension table, with the registry test asked afresh for each
// page of the media player's own formats, so a player installed since the
// last rebuild is picked up. Pages are written whole through a temporary
// file, so a killed rebuild leaves the old page or the new one.
#include "library/player_pages.h"

#include "platform/ascii.h"

#include "library/menu_pieces.h"
#include "platform/files.h"
#include "platform/page_text.h"
#include "shell/settings.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr const char* PlayerObjectPage =
    "<BODY bgcolor=\"#000000\" >\n<b><font color=\"#FFFF00\"> %s </font></b>\n<OBJECT "
    "id=\"MediaPlayer1\" name=\"MediaPlayer1\" "
    "CLASSID=\"CLSID:6BF52A52-394A-11d3-B153-00C04F79FAA6\" width=\"100%%\" "
    "height=\"100%%\">\n<PARAM Name=\"AutoStart\"\tValue=\"True\">\n<PARAM "
    "Name=\"PlayCount\"\tValue=\"999\">\n<PARAM Name=\"URL\"\tValue=\"%s\">\n<EMBED "
    "type=\"application/x-mplayer2\" "
    "pluginspage=\"http://www.microsoft.com/Windows/MediaPlayer/\" "
    "enablepositioncontrols=\"1\" animationatStart=\"1\" loop=\"2\" ></EMBED>\n</OBJECT>\n";

constexpr const char* PlainEmbedPage =
    "<BODY bgcolor=\"#000000\" >\n<b><font color=\"#FFFF00\"> %s</font></b>\n<EMBED\n   "
    "SRC=\"%s\"\n   HEIGHT=\"100%%\" WIDTH=\"100%%\" LOOP=\"TRUE\" AUTOSTART=\"TRUE\" "
    "PLAYCOUNT=\"999\" CONTROLS=\"CONSOLE\">\n</EMBED>\n";

constexpr const char* FlashPlayerPage =
    "<html><head>\n<meta http-equiv=\"Content-Type\" content=\"text/html;\" />\n<title>Tessel "
    "Flv Player</title>\n</head>\n<body><div align=\"center\">\n<object "
    "type=\"application/x-shockwave-flash\" width=\"100%%\" height=\"100%%\" >\n<param "
    "name=\"movie\" value=\"%sflvplay.swf?video=%s&startvolume=50&autoplay=true\" />\n<param "
    "name=\"allowfullscreen\" value=\"true\"/>\n</object>\n</div></body></html>\n";

constexpr const char* PlayerClassKey = "CLSID\\{6BF52A52-394A-11d3-B153-00C04F79FAA6}";

} // namespace

PlayerTemplate PlayerTemplateFor(const std::string& name, bool playerRegistered) {
  for (const char* e : {".mp3", ".wav", ".wma", ".mpg", ".avi", ".wmv"})
    if (EndsWithIgnoringCase(name, e))
      return playerRegistered ? PlayerTemplate::PlayerObject : PlayerTemplate::PlainEmbed;
  for (const char* e : {".flv", ".mp4"})
    if (EndsWithIgnoringCase(name, e))
      return PlayerTemplate::FlashPlayer;
  for (const char* e : {".mov", ".rm", ".rmvb"})
    if (EndsWithIgnoringCase(name, e))
      return PlayerTemplate::PlainEmbed;
  return PlayerTemplate::None;
}

bool MediaPlayerRegistered() {
  char out[RegistryValueSize];
  return ReadRegistryString("HKEY_CLASSES_ROOT", PlayerClassKey, "", out) == 0;
}

namespace {

// The page of a template filled with the given texts, whatever its length.
std::string FillTemplate(PlayerTemplate which, const std::string& up, const std::string& path,
                         const std::string& shown, const std::string& link) {
  const char* format = nullptr;
  const char* first = shown.c_str();
  const char* second = link.c_str();
  switch (which) {
  case PlayerTemplate::PlayerObject:
    format = PlayerObjectPage;
    break;
  case PlayerTemplate::PlainEmbed:
    format = PlainEmbedPage;
    break;
  case PlayerTemplate::FlashPlayer:
    format = FlashPlayerPage;
    first = up.c_str();
    second = path.c_str();
    break;
  case PlayerTemplate::None:
    return std::string();
  }
  int n = std::snprintf(nullptr, 0, format, first, second);
  if (n < 0)
    return std::string();
  std::string page(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(page.data(), page.size(), format, first, second);
  page.pop_back();
  return page;
}

} // namespace

// The limit of 1,023 bytes holds for the page filled with the names as they
// are; the page written holds them escaped: the name shown as text, the links
// percent-encoded.
std::string PlayerPageText(PlayerTemplate which, const std::string& folderPath,
                           const std::string& name) {
  // One step up for every separator after the first character: the way from
  // the page's folder back to the indexed folder's root.
  std::string up;
  for (std::size_t i = 1; i < folderPath.size(); ++i)
    if (folderPath[i] == '/')
      up += "../";
  std::string plain = FillTemplate(which, up, folderPath, name, name);
  if (plain.empty() || plain.size() > MenuPieceMax)
    return std::string();
  return FillTemplate(which, up, PageAddress(folderPath), PageText(name), PageAddress(name));
}

int WritePlayerPage(const char* pagePath, const char* folderPath, const char* name) {
  if (!pagePath || !folderPath || !name || std::strlen(pagePath) > MenuPathMax)
    return 0;
  PlayerTemplate which = PlayerTemplateFor(name, false);
  if (which == PlayerTemplate::None)
    return 0;
  if (which == PlayerTemplate::PlainEmbed && MediaPlayerRegistered())
    which = PlayerTemplateFor(name, true);
  std::string text = PlayerPageText(which, folderPath, name);
  if (text.empty())
    return 0;
  return WriteFileAtomically(pagePath, text) ? 1 : 0;
}
