// Address text helpers: one percent escape, the decoding of a whole address,
// and one case-blind replacement inside a text. Plain 8-bit texts with an end
// mark; no state, callable from any thread.
#pragma once

#include <cstddef>

// Size of the work buffer of ReplaceInText: texts of 512 bytes or more are
// refused, and so is a replacement that would not fit in 512 bytes.
constexpr std::size_t UrlTextSize = 512;

// The byte of the escape "%xy" at text; a text that does not begin with a
// percent sign gives its first character. The digits are not checked (other
// characters give what the arithmetic gives), and a percent sign with fewer
// than two characters behind it gives the percent sign itself.
unsigned char DecodeHexPair(const char* text);

// Percent-decodes source into target (at least as long as source, since the
// text only shrinks). A plus sign stays a plus sign; a percent sign with fewer
// than two characters behind it is copied as it stands. Result: the length of
// target, or 0 when a colon landed at position 8 or later of target (a port or
// a second scheme); target then still holds the whole decoded text.
int DecodePercent(const char* source, char* target);

// Replaces the first occurrence of find (case ignored) in text, in place.
// text must have room for UrlTextSize bytes. Result: the new length, or 0 when
// nothing was replaced (no match, empty text or find, text too long, or a
// result that would not fit).
int ReplaceInText(char* text, const char* find, const char* replacement);

// The length of the web scheme text begins with: 7 for "http://", 8 for
// "https://", both in lower case only; 0 for anything else (a scheme in
// capitals is no link).
int WebSchemeLength(const char* text);
