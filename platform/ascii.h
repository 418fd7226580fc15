// ASCII case folding, the way the desktop compares names, keys and endings:
// only A-Z fold; every other byte, UTF-8 included, compares as it is.
#pragma once

#include <string>
#include <string_view>

inline char AsciiLower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string AsciiLower(std::string_view s) {
  std::string out(s);
  for (char& c : out)
    c = AsciiLower(c);
  return out;
}

inline bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size())
    return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (AsciiLower(a[i]) != AsciiLower(b[i]))
      return false;
  return true;
}

inline bool EndsWithIgnoringCase(std::string_view s, std::string_view ending) {
  return s.size() >= ending.size() &&
         EqualsIgnoringCase(s.substr(s.size() - ending.size()), ending);
}
