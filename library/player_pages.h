// The player page beside each media file: "<media file>.htw", a small page
// that plays the file in the browser program, picked by the file's
// extension and, for the media player's own formats, by whether its control
// is registered.
#pragma once

#include <string>

// The templates a page can be made from.
enum class PlayerTemplate { None, PlayerObject, PlainEmbed, FlashPlayer };

// The template for a file name by its extension (case ignored), with
// playerRegistered the answer of the registry test. None for an extension
// the table doesn't know: such a file gets no page.
PlayerTemplate PlayerTemplateFor(const std::string& name, bool playerRegistered);

// Whether the media player's control is registered: the default value of
// HKEY_CLASSES_ROOT\CLSID\{6BF52A52-394A-11d3-B153-00C04F79FAA6} can be read.
bool MediaPlayerRegistered();

// The page's text; empty when it would exceed 1,023 bytes or the name has no
// template. folderPath is the file's path inside the indexed folder
// ("/"-separated), name its bare name.
std::string PlayerPageText(PlayerTemplate which, const std::string& folderPath,
                           const std::string& name);

// Writes the page pagePath (the media file's path with ".htw"), replacing
// it whole. A name without a template, a text over the limit, or a page
// path over 259 bytes writes nothing. Result: 0 when nothing was written,
// else 1.
int WritePlayerPage(const char* pagePath, const char* folderPath, const char* name);
