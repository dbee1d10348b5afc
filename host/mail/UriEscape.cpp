#include "UriEscape.h"

#include "MailError.h"

namespace mailhost {

namespace {

bool isSafe(unsigned char c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
    return true;
  switch (c) {
  case '-':
  case '.':
  case '_':
  case '~':
  case '!':
  case '$':
  case '\'':
  case '(':
  case ')':
  case '*':
  case ',':
  case ':':
  case '@':
    return true;
  default:
    return false;
  }
}

int hexValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

} // namespace

std::string percentEscape(std::string_view text, bool keepSlash) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (unsigned char c : text) {
    if (isSafe(c) || (keepSlash && c == '/')) {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0xF]);
    }
  }
  return out;
}

std::string percentUnescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out.push_back(text[i]);
      continue;
    }
    int hi = i + 2 < text.size() ? hexValue(text[i + 1]) : -1;
    int lo = i + 2 < text.size() ? hexValue(text[i + 2]) : -1;
    if (hi < 0 || lo < 0)
      throw MailError(MailErrorKind::BadUri, "malformed escape in \"" + std::string(text) + "\"");
    out.push_back(static_cast<char>(hi * 16 + lo));
    i += 2;
  }
  return out;
}

} // namespace mailhost
