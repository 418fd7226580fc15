// Game page location: from a name or a page link to the link of one Flash
// file. SearchGameLink sends a name to the web search and tries its results;
// LocateGameFile decides whether a text is the file, a page to scan, or
// neither. No state; callable from any thread (the panel's timer for a
// clipboard link, job threads). All page reading is done by ScanPage.
#pragma once

// Results of LocateGameFile.
constexpr int LocateFound = 0;    // output: the decoded link of the file
constexpr int LocateNothing = -1; // output unchanged
constexpr int LocateRefused = -2; // output: the found text that decoding refused

// [Web] SearchHost of Define.ini: the host of the web search, asked with the
// path /search and the query key p.
constexpr const char* DefaultSearchHost = "search.yahoo.com";

// out (512 bytes) := "http://<search host>/search?p=<query>", the query a
// form value (& # + % = ; escaped; blanks and bytes from 128 on are escaped
// when the address is sent), cut to 511 characters. Result: its length.
int BuildSearchAddress(const char* query, char* out);

// text and output: texts of at most 511 characters; output is 512 bytes.
// Result: 0 when output holds a link, -1 when not.
int SearchGameLink(const char* text, char* output);

// wanted: the file ending looked for (".swf"). Result: one of the codes above.
int LocateGameFile(const char* text, char* output, const char* wanted);
