// CF's formatting engine: the directives are first all parsed, so that positional arguments
// ("%2$d") can be fetched from the va_list in order, then each is formatted. Numbers go
// through the C library's snprintf; "%@" inserts an object's description.
#include "CFStringInternal.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace cf {
namespace {

enum class Kind { Unused, Int, Long, LongLong, IntMax, Size, PtrDiff, Double, LongDouble, Pointer };

struct Directive {
  size_t literalFrom = 0; // the literal text that precedes the directive
  size_t literalCount = 0;
  char conversion = 0; // 0: no directive, only the literal
  std::string flags;
  int width = -1;
  int widthArgument = -1; // index of the argument that gives the width, for '*'
  int precision = -1;
  int precisionArgument = -1;
  std::string length;
  int argument = -1;
};

union Value {
  long long integer;
  double real;
  long double longReal;
  const void* pointer;
};

Kind kindOf(char conversion, const std::string& length) {
  switch (conversion) {
  case 'd':
  case 'i':
  case 'o':
  case 'u':
  case 'x':
  case 'X':
    if (length == "l") {
      return Kind::Long;
    }
    if (length == "ll" || length == "q") {
      return Kind::LongLong;
    }
    if (length == "j") {
      return Kind::IntMax;
    }
    if (length == "z") {
      return Kind::Size;
    }
    if (length == "t") {
      return Kind::PtrDiff;
    }
    return Kind::Int;
  case 'D':
  case 'O':
  case 'U':
    return Kind::Long;
  case 'c':
  case 'C':
    return Kind::Int;
  case 'a':
  case 'A':
  case 'e':
  case 'E':
  case 'f':
  case 'F':
  case 'g':
  case 'G':
    return length == "L" ? Kind::LongDouble : Kind::Double;
  case 's':
  case 'S':
  case 'P':
  case 'p':
  case '@':
  case 'n':
    return Kind::Pointer;
  default:
    return Kind::Unused;
  }
}

bool isDigit(UniChar c) {
  return c >= '0' && c <= '9';
}

// Reads decimal digits at i; returns -1 if there are none.
int readNumber(const StringStorage& format, size_t& i) {
  if (i >= format.length() || !isDigit(format.at(i))) {
    return -1;
  }
  long value = 0;
  while (i < format.length() && isDigit(format.at(i))) {
    value = value * 10 + (format.at(i) - '0');
    if (value > 1000000) {
      value = 1000000;
    }
    ++i;
  }
  return static_cast<int>(value);
}

// A '*' argument: "*" takes the next argument, "*n$" argument n.
int readStarArgument(const StringStorage& format, size_t& i, int& nextArgument) {
  size_t save = i;
  int position = readNumber(format, i);
  if (position > 0 && i < format.length() && format.at(i) == '$') {
    ++i;
    return position - 1;
  }
  i = save;
  return nextArgument++;
}

std::vector<Directive> parse(const StringStorage& format) {
  std::vector<Directive> directives;
  size_t literalFrom = 0;
  size_t i = 0;
  int nextArgument = 0;
  const size_t n = format.length();
  while (i < n) {
    if (format.at(i) != '%') {
      ++i;
      continue;
    }
    Directive d;
    d.literalFrom = literalFrom;
    d.literalCount = i - literalFrom;
    ++i;
    size_t save = i;
    int position = readNumber(format, i);
    if (position > 0 && i < n && format.at(i) == '$') {
      d.argument = position - 1;
      ++i;
    } else {
      i = save;
    }
    while (i < n) {
      UniChar c = format.at(i);
      if (c == '#' || c == '-' || c == '+' || c == ' ' || c == '0' || c == '\'') {
        d.flags.push_back(static_cast<char>(c));
        ++i;
      } else {
        break;
      }
    }
    if (i < n && format.at(i) == '*') {
      ++i;
      d.widthArgument = readStarArgument(format, i, nextArgument);
    } else {
      d.width = readNumber(format, i);
    }
    if (i < n && format.at(i) == '.') {
      ++i;
      if (i < n && format.at(i) == '*') {
        ++i;
        d.precisionArgument = readStarArgument(format, i, nextArgument);
      } else {
        d.precision = readNumber(format, i);
        if (d.precision < 0) {
          d.precision = 0;
        }
      }
    }
    while (i < n) {
      UniChar c = format.at(i);
      if (c == 'h' || c == 'l' || c == 'q' || c == 'j' || c == 'z' || c == 't' || c == 'L') {
        d.length.push_back(static_cast<char>(c));
        ++i;
      } else {
        break;
      }
    }
    if (i >= n) {
      // A directive cut off by the end of the format prints nothing.
      d.conversion = 0;
      directives.push_back(d);
      literalFrom = n;
      break;
    }
    UniChar conversion = format.at(i++);
    d.conversion = conversion < 0x80 ? static_cast<char>(conversion) : '?';
    if (d.conversion != '%' && kindOf(d.conversion, d.length) != Kind::Unused && d.argument < 0) {
      d.argument = nextArgument++;
    }
    if (d.conversion == '?' ||
        (d.conversion != '%' && kindOf(d.conversion, d.length) == Kind::Unused)) {
      // Unknown conversions are literal text: keep the character.
      d.conversion = 0;
      directives.push_back(d);
      Directive literal;
      literal.literalFrom = i - 1;
      literal.literalCount = 1;
      directives.push_back(literal);
      literalFrom = i;
      continue;
    }
    directives.push_back(d);
    literalFrom = i;
  }
  if (literalFrom < n) {
    Directive tail;
    tail.literalFrom = literalFrom;
    tail.literalCount = n - literalFrom;
    directives.push_back(tail);
  }
  return directives;
}

std::vector<Value> fetchArguments(const std::vector<Directive>& directives, va_list arguments) {
  std::vector<Kind> kinds;
  auto want = [&kinds](int index, Kind kind) {
    if (index < 0) {
      return;
    }
    if (static_cast<size_t>(index) >= kinds.size()) {
      kinds.resize(static_cast<size_t>(index) + 1, Kind::Unused);
    }
    if (kinds[static_cast<size_t>(index)] == Kind::Unused) {
      kinds[static_cast<size_t>(index)] = kind;
    }
  };
  for (const Directive& d : directives) {
    want(d.widthArgument, Kind::Int);
    want(d.precisionArgument, Kind::Int);
    if (d.conversion != 0 && d.conversion != '%') {
      want(d.argument, kindOf(d.conversion, d.length));
    }
  }
  std::vector<Value> values(kinds.size());
  va_list copy;
  va_copy(copy, arguments);
  for (size_t k = 0; k < kinds.size(); ++k) {
    Value& v = values[k];
    switch (kinds[k]) {
    case Kind::Int:
      v.integer = va_arg(copy, int);
      break;
    case Kind::Long:
    case Kind::Unused: // a gap in the positions: a word-sized slot
      v.integer = va_arg(copy, long);
      break;
    case Kind::LongLong:
      v.integer = va_arg(copy, long long);
      break;
    case Kind::IntMax:
      v.integer = static_cast<long long>(va_arg(copy, intmax_t));
      break;
    case Kind::Size:
      v.integer = static_cast<long long>(va_arg(copy, size_t));
      break;
    case Kind::PtrDiff:
      v.integer = static_cast<long long>(va_arg(copy, ptrdiff_t));
      break;
    case Kind::Double:
      v.real = va_arg(copy, double);
      break;
    case Kind::LongDouble:
      v.longReal = va_arg(copy, long double);
      break;
    case Kind::Pointer:
      v.pointer = va_arg(copy, const void*);
      break;
    }
  }
  va_end(copy);
  return values;
}

template <class... Args>
std::string cFormat(const std::string& format, Args... args) {
  int size = std::snprintf(nullptr, 0, format.c_str(), args...);
  if (size <= 0) {
    return std::string();
  }
  std::string text(static_cast<size_t>(size) + 1, '\0');
  std::snprintf(text.data(), text.size(), format.c_str(), args...);
  text.resize(static_cast<size_t>(size));
  return text;
}

void pad(StringStorage& out, const StringStorage& text, int width, bool left) {
  size_t fill = width > 0 && static_cast<size_t>(width) > text.length()
                    ? static_cast<size_t>(width) - text.length()
                    : 0;
  std::string spaces(fill, ' ');
  if (!left) {
    out.appendLatin1(spaces.data(), spaces.size());
  }
  out.append(text);
  if (left) {
    out.appendLatin1(spaces.data(), spaces.size());
  }
}

void formatOne(StringStorage& out, const Directive& d, const std::vector<Value>& values) {
  int width = d.width;
  int precision = d.precision;
  std::string flags = d.flags;
  if (d.widthArgument >= 0) {
    width = static_cast<int>(values[static_cast<size_t>(d.widthArgument)].integer);
    if (width < 0) {
      flags.push_back('-');
      width = width == INT32_MIN ? INT32_MAX : -width;
    }
  }
  if (d.precisionArgument >= 0) {
    precision = static_cast<int>(values[static_cast<size_t>(d.precisionArgument)].integer);
  }
  bool left = flags.find('-') != std::string::npos;
  const Value* value = d.argument >= 0 ? &values[static_cast<size_t>(d.argument)] : nullptr;

  std::string format = "%" + flags;
  if (width >= 0) {
    format += std::to_string(width);
  }
  if (precision >= 0) {
    format += "." + std::to_string(precision);
  }

  switch (d.conversion) {
  case '%':
    out.appendLatin1("%", 1);
    return;
  case 'd':
  case 'i':
  case 'o':
  case 'u':
  case 'x':
  case 'X':
  case 'D':
  case 'O':
  case 'U': {
    char conversion = d.conversion == 'D'   ? 'd'
                      : d.conversion == 'O' ? 'o'
                      : d.conversion == 'U' ? 'u'
                                            : d.conversion;
    std::string text;
    switch (kindOf(d.conversion, d.length)) {
    case Kind::Int:
      text = cFormat(format +
                         (d.length == "hh"  ? "hh"
                          : d.length == "h" ? "h"
                                            : "") +
                         conversion,
                     static_cast<int>(value->integer));
      break;
    default:
      text = cFormat(format + "ll" + conversion, value->integer);
      break;
    }
    out.appendLatin1(text.data(), text.size());
    return;
  }
  case 'a':
  case 'A':
  case 'e':
  case 'E':
  case 'f':
  case 'F':
  case 'g':
  case 'G': {
    std::string text = d.length == "L" ? cFormat(format + "L" + d.conversion, value->longReal)
                                       : cFormat(format + d.conversion, value->real);
    out.appendLatin1(text.data(), text.size());
    return;
  }
  case 'c': {
    std::string text = cFormat(format + "c", static_cast<int>(value->integer));
    out.appendLatin1(text.data(), text.size());
    return;
  }
  case 'C': {
    StringStorage text;
    text.appendUnit(static_cast<UniChar>(value->integer));
    pad(out, text, width, left);
    return;
  }
  case 's': {
    const char* s = static_cast<const char*>(value->pointer);
    std::string text = cFormat(format + "s", s != nullptr ? s : "(null)");
    out.appendLatin1(text.data(), text.size());
    return;
  }
  case 'S': {
    const auto* s = static_cast<const UniChar*>(value->pointer);
    StringStorage text;
    if (s == nullptr) {
      text.appendLatin1("(null)", 6);
    } else {
      size_t count = 0;
      while (s[count] != 0 && (precision < 0 || count < static_cast<size_t>(precision))) {
        ++count;
      }
      text.appendUnits(reinterpret_cast<const char16_t*>(s), count);
    }
    pad(out, text, width, left);
    return;
  }
  case 'P': {
    const auto* p = static_cast<const unsigned char*>(value->pointer);
    StringStorage text;
    if (p == nullptr) {
      text.appendLatin1("(null)", 6);
    } else {
      size_t count = p[0];
      if (precision >= 0 && count > static_cast<size_t>(precision)) {
        count = static_cast<size_t>(precision);
      }
      text.appendLatin1(reinterpret_cast<const char*>(p + 1), count);
    }
    pad(out, text, width, left);
    return;
  }
  case 'p': {
    StringStorage text;
    std::string p = pointerText(value->pointer);
    text.appendLatin1(p.data(), p.size());
    pad(out, text, width, left);
    return;
  }
  case '@':
    appendObjectText(out, value->pointer);
    return;
  default: // 'n' writes nothing
    return;
  }
}

} // namespace

void appendObjectText(StringStorage& out, CFTypeRef object) {
  if (object == nullptr) {
    out.appendLatin1("(null)", 6);
    return;
  }
  if (CFGetTypeID(object) == kStringTypeID) {
    out.append(static_cast<CFStringRef>(object)->storage);
    return;
  }
  CFStringRef text = cf::object(object)->copyFormattingDescription();
  if (text == nullptr) {
    text = CFCopyDescription(object);
  }
  if (text == nullptr) {
    out.appendLatin1("(null description)", 18);
    return;
  }
  out.append(text->storage);
  CFRelease(text);
}

void appendFormatted(StringStorage& out, const StringStorage& format, va_list arguments) {
  std::vector<Directive> directives = parse(format);
  std::vector<Value> values = fetchArguments(directives, arguments);
  for (const Directive& d : directives) {
    out.append(format, d.literalFrom, d.literalCount);
    if (d.conversion != 0) {
      formatOne(out, d, values);
    }
  }
}

} // namespace cf
