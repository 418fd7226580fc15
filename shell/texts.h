// The system's fixed texts: titles of its windows and message boxes, and the
// messages it shows, each with its Traditional Chinese twin where it has one.
#pragma once

#include <string>

constexpr const char* TitlePanel = "Tessel Skerry";
constexpr const char* TitleMessageWindow = "Tessel Ombrel";
constexpr const char* ClassMessageWindow = "VexanMsgClass";
constexpr const char* ClassDialog = "#32770";
constexpr const char* TitleMessage = "Tessel Message";
constexpr const char* TitleVexan = "Tessel @Vexan";

enum TextId {
  TextExitQuestion, // %s: the Panel's title
  TextBitmapMissing,
  TextGotGames, // %d: number of games
  TextCloseOrDelete,
  TextNumberNotFound,
  TextDeleteFile, // %s: the file
  TextPleaseWait,
  TextNewGameNotFound,
  TextSearchQuestion,
  TextConnectPhone,
  TextVideoLinkRefused,
  TextTipNextPicture, // tips of the image player's buttons
  TextTipPreviousPicture,
  TextTipReloadPictures,
  TextCount
};

// The text in the running language: the Traditional Chinese twin when
// LanguageOffset is 1000 and the text has one, else the English text.
const char* FixedText(TextId id);

// FixedText with its one %s or %d replaced by value.
std::string FormatText(TextId id, const std::string& value);
