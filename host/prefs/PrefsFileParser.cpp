#include "prefs/PrefsFileParser.h"

#include <cstdio>
#include <limits>

namespace mailhost {
namespace {

struct SyntaxError {
  int line;
  std::string message;
  // True when the offending text begins a later line: parsing resumes there, since it may be
  // the next statement of a file whose previous statement lacks only its ';'.
  bool resumeAtOffender;
};

bool isIdentStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isIdentChar(char c) {
  return isIdentStart(c) || (c >= '0' && c <= '9');
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

void appendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

class Parser {
public:
  explicit Parser(std::string_view text) : mText(text) {}

  PrefsFileContents run() {
    PrefsFileContents contents;
    for (;;) {
      try {
        skipBlanks();
        if (atEnd())
          break;
        contents.statements.push_back(statement());
      } catch (const SyntaxError& e) {
        contents.errors.push_back({e.line, e.message});
        if (!e.resumeAtOffender)
          skipRestOfStatement();
      }
    }
    return contents;
  }

private:
  bool atEnd() const { return mPos >= mText.size(); }
  char peek() const { return atEnd() ? '\0' : mText[mPos]; }
  char peekAt(std::size_t ahead) const {
    return mPos + ahead < mText.size() ? mText[mPos + ahead] : '\0';
  }
  void advance() {
    if (mText[mPos] == '\n')
      ++mLine;
    ++mPos;
  }

  [[noreturn]] void fail(std::string message) {
    throw SyntaxError{mLine, std::move(message), false};
  }

  // Whitespace and the three comment forms: //, # (both to the end of the line) and /* */.
  void skipBlanks() {
    while (!atEnd()) {
      char c = peek();
      if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v') {
        advance();
      } else if (c == '#' || (c == '/' && peekAt(1) == '/')) {
        while (!atEnd() && peek() != '\n')
          advance();
      } else if (c == '/' && peekAt(1) == '*') {
        int startLine = mLine;
        mPos += 2;
        while (!atEnd() && !(peek() == '*' && peekAt(1) == '/'))
          advance();
        if (atEnd())
          throw SyntaxError{startLine, "unterminated comment", false};
        mPos += 2;
      } else {
        break;
      }
    }
  }

  // Skips blanks before an expected token; a missing token is reported on the line of the
  // text it should have followed.
  void expectPunct(char wanted, const char* after) {
    int lineBefore = mLine;
    skipBlanks();
    if (peek() == wanted) {
      advance();
      return;
    }
    std::string message = std::string("expected '") + wanted + "' after " + after;
    if (mLine != lineBefore && !atEnd())
      throw SyntaxError{lineBefore, message, true};
    fail(message);
  }

  void skipRestOfStatement() {
    while (!atEnd()) {
      char c = peek();
      if (c == '\n')
        return;
      advance();
      if (c == ';')
        return;
    }
  }

  PrefStatement statement() {
    int line = mLine;
    std::size_t start = mPos;
    if (!isIdentStart(peek()))
      fail("expected a statement such as user_pref(\"name\", value);");
    while (isIdentChar(peek()))
      advance();
    std::string_view word = mText.substr(start, mPos - start);
    PrefStatementKind kind;
    if (word == "user_pref")
      kind = PrefStatementKind::User;
    else if (word == "pref" || word == "sticky_pref")
      kind = PrefStatementKind::Default;
    else if (word == "lockPref")
      kind = PrefStatementKind::Locked;
    else
      fail("unknown statement '" + std::string(word) + "'");

    std::string after = std::string(word);
    expectPunct('(', after.c_str());
    skipBlanks();
    if (peek() != '"' && peek() != '\'')
      fail("expected a preference name in quotes");
    std::string name = quotedString();
    expectPunct(',', "preference name");
    skipBlanks();
    PrefValue value = valueToken();
    expectPunct(')', "value");
    expectPunct(';', "')'");
    return {kind, std::move(name), std::move(value), line};
  }

  PrefValue valueToken() {
    char c = peek();
    if (c == '"' || c == '\'')
      return quotedString();
    if (c == '-' || c == '+' || isDigit(c))
      return integer();
    if (isIdentStart(c)) {
      std::size_t start = mPos;
      while (isIdentChar(peek()))
        advance();
      std::string_view word = mText.substr(start, mPos - start);
      if (word == "true")
        return true;
      if (word == "false")
        return false;
      fail("unknown value '" + std::string(word) +
           "' (expected a string, an integer, true or "
           "false)");
    }
    fail("expected a value (a string, an integer, true or false)");
  }

  std::int32_t integer() {
    bool negative = peek() == '-';
    if (peek() == '-' || peek() == '+')
      advance();
    std::size_t start = mPos;
    while (isDigit(peek()))
      advance();
    if (start == mPos)
      fail("expected digits after the sign");
    std::int64_t magnitude = 0;
    for (std::size_t i = start; i < mPos; ++i) {
      magnitude = magnitude * 10 + (mText[i] - '0');
      if (magnitude > std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1)
        fail("integer out of range");
    }
    std::int64_t value = negative ? -magnitude : magnitude;
    if (value > std::numeric_limits<std::int32_t>::max())
      fail("integer out of range");
    return static_cast<std::int32_t>(value);
  }

  // A string in single or double quotes on one line, with the escapes \\ \" \' \n \r \t \xHH
  // and \uHHHH (UTF-16 units, surrogate pairs joined); the result is UTF-8.
  std::string quotedString() {
    char quote = peek();
    advance();
    std::string out;
    for (;;) {
      if (atEnd() || peek() == '\n')
        fail("unterminated string");
      char c = peek();
      advance();
      if (c == quote)
        return out;
      if (c != '\\') {
        out += c;
        continue;
      }
      if (atEnd() || peek() == '\n')
        fail("unterminated string");
      char e = peek();
      advance();
      switch (e) {
      case '\\':
      case '"':
      case '\'':
        out += e;
        break;
      case 'n':
        out += '\n';
        break;
      case 'r':
        out += '\r';
        break;
      case 't':
        out += '\t';
        break;
      case 'x':
        out += static_cast<char>(hexNumber(2));
        break;
      case 'u': {
        char32_t unit = hexNumber(4);
        if (unit >= 0xD800 && unit <= 0xDBFF) {
          if (peek() != '\\' || peekAt(1) != 'u')
            fail("unpaired surrogate in \\u escape");
          advance();
          advance();
          char32_t low = hexNumber(4);
          if (low < 0xDC00 || low > 0xDFFF)
            fail("unpaired surrogate in \\u escape");
          unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
        } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
          fail("unpaired surrogate in \\u escape");
        }
        appendUtf8(out, unit);
        break;
      }
      default:
        fail(std::string("unknown escape '\\") + e + "'");
      }
    }
  }

  char32_t hexNumber(int digits) {
    char32_t value = 0;
    for (int i = 0; i < digits; ++i) {
      int d = hexDigit(peek());
      if (d < 0)
        fail("expected " + std::to_string(digits) + " hex digits in escape");
      value = value * 16 + static_cast<char32_t>(d);
      advance();
    }
    return value;
  }

  std::string_view mText;
  std::size_t mPos = 0;
  int mLine = 1;
};

} // namespace

PrefsFileContents parsePrefsFile(std::string_view text) {
  return Parser(text).run();
}

std::string formatUserPref(std::string_view name, const PrefValue& value) {
  auto quote = [](std::string_view s) {
    std::string out = "\"";
    for (char c : s) {
      switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buf[5];
          std::snprintf(buf, sizeof buf, "\\x%02x", static_cast<unsigned char>(c));
          out += buf;
        } else {
          out += c;
        }
      }
    }
    return out + "\"";
  };
  std::string text = "user_pref(" + quote(name) + ", ";
  if (auto s = std::get_if<std::string>(&value))
    text += quote(*s);
  else if (auto i = std::get_if<std::int32_t>(&value))
    text += std::to_string(*i);
  else
    text += std::get<bool>(value) ? "true" : "false";
  return text + ");";
}

} // namespace mailhost
