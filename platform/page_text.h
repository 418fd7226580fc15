// Names and paths written into the generated pages (menus, player pages, the
// browser program's game and player pages) are
// data, never markup: each is escaped for the place it stands in. A name
// without special characters comes out as it went in, so the pages of
// ordinary names stay byte for byte as they always were.
#pragma once

#include <string>

// For text between tags and for a quoted attribute value: & < > " ' become
// character references.
std::string PageText(const std::string& text);

// For a path or a query value inside a quoted link: the bytes that would end
// the attribute, start markup or change what the address means (% # ? & + '
// " < > ` and control bytes) are percent-encoded; everything else, blanks,
// backslashes and non-ASCII bytes included, stays, as the links have always
// held paths unescaped. A reader gets the path back by percent-decoding.
std::string PageAddress(const std::string& path);
