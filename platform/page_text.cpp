#include "platform/page_text.h"

std::string PageText(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
    case '&':
      out += "&amp;";
      break;
    case '<':
      out += "&lt;";
      break;
    case '>':
      out += "&gt;";
      break;
    case '"':
      out += "&quot;";
      break;
    case '\'':
      out += "&#39;";
      break;
    default:
      out += c;
    }
  }
  return out;
}

std::string PageAddress(const std::string& path) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  out.reserve(path.size());
  for (char ch : path) {
    unsigned char c = static_cast<unsigned char>(ch);
    bool plain = c >= 0x20 && c != 0x7F;
    switch (c) {
    case '%':
    case '#':
    case '?':
    case '&':
    case '+':
    case '\'':
    case '"':
    case '<':
    case '>':
    case '`':
      plain = false;
      break;
    default:
      break;
    }
    if (plain) {
      out += ch;
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}
