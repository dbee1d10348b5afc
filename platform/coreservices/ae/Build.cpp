// AEBuildDesc, AEBuildParameters and AEBuildAppleEvent: descriptors from a small text language.
#include "Codec.h"
#include "Coercion.h"
#include "Event.h"
#include "Storage.h"

#include <CoreServices/AE/AEHelpers.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace ae;

namespace {

constexpr int kMaxBuildNesting = 64;

enum class Tok {
  End,
  Comma,
  Colon,
  At,
  DoubleAt,
  LParen,
  RParen,
  LBracket,
  RBracket,
  LBrace,
  RBrace,
  Tilde,
  Integer,
  Ident,
  String,
  Hex
};

struct Token {
  Tok kind = Tok::End;
  std::size_t pos = 0;
  std::int64_t number = 0;
  bool overflow = false; // an integer beyond 64 bits
  DescType code = 0;
  Bytes bytes;
};

struct BuildFailure {
  OSStatus status;
  AEBuildErrorCode code;
  std::size_t pos;
};

[[noreturn]] void fail(AEBuildErrorCode code, std::size_t pos,
                       OSStatus status = errAEBuildSyntaxError) {
  throw BuildFailure{status, code, pos};
}

// Quote pairs: ASCII, MacRoman and the UTF-8 encodings of the same glyphs.
struct Quote {
  const char* open;
  const char* close;
};
constexpr Quote kIdentQuotes[] = {{"'", "'"}, {"\xE2\x80\x98", "\xE2\x80\x99"}, {"\xD4", "\xD5"}};
constexpr Quote kStringQuotes[] = {
    {"\"", "\""}, {"\xE2\x80\x9C", "\xE2\x80\x9D"}, {"\xD2", "\xD3"}};
constexpr Quote kHexQuotes[] = {{"$", "$"}, {"\xC2\xAB", "\xC2\xBB"}, {"\xC7", "\xC8"}};
// Closing glyphs that may not appear on their own.
constexpr const char* kStrayClosers[] = {"\xE2\x80\x99", "\xE2\x80\x9D", "\xC2\xBB",
                                         "\xD5",         "\xD3",         "\xC8"};

bool isBlank(std::uint8_t c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool isPunct(std::uint8_t c) {
  return std::strchr(",:@()[]{}~", c) != nullptr && c != 0;
}

DescType padCode(const std::uint8_t* p, std::size_t n) {
  std::uint8_t c[4] = {' ', ' ', ' ', ' '};
  for (std::size_t i = 0; i < n && i < 4; ++i)
    c[i] = p[i];
  return DescType(c[0]) << 24 | DescType(c[1]) << 16 | DescType(c[2]) << 8 | c[3];
}

// The tokens of a build string, up to its end or to the first it could not read. Lexing looks
// no further than the text, so the tokens can be read once and met again on every build.
struct Tokens {
  std::vector<Token> list; // ends with Tok::End unless lexing failed
  std::optional<BuildFailure> failure;
};

class Scanner {
public:
  Scanner(const char* src, std::size_t length)
      : mSource(reinterpret_cast<const std::uint8_t*>(src)), mLength(length) {}

  std::size_t length() const { return mLength; }

  Tokens all() {
    Tokens tokens;
    try {
      do
        tokens.list.push_back(lex());
      while (tokens.list.back().kind != Tok::End);
    } catch (const BuildFailure& failure) {
      tokens.failure = failure;
    }
    return tokens;
  }

private:
  bool at(std::size_t i, const char* seq) const {
    std::size_t k = std::strlen(seq);
    return i + k <= mLength && std::memcmp(mSource + i, seq, k) == 0;
  }
  template <std::size_t N>
  const Quote* quoteAt(std::size_t i, const Quote (&quotes)[N]) const {
    for (const Quote& q : quotes)
      if (at(i, q.open))
        return &q;
    return nullptr;
  }
  bool startsSomething(std::size_t i) const {
    std::uint8_t c = mSource[i];
    if (isBlank(c) || isPunct(c) || c < 0x20 || c == 0x7F)
      return true;
    // Of the quotes and closers, only ' " and $ are ASCII: most bytes need no further look.
    if (c < 0x80)
      return c == '\'' || c == '"' || c == '$';
    if (quoteAt(i, kIdentQuotes) || quoteAt(i, kStringQuotes) || quoteAt(i, kHexQuotes))
      return true;
    for (const char* closer : kStrayClosers)
      if (at(i, closer))
        return true;
    return false;
  }

  // Bytes up to the closing sequence, each handed to `keep`; with escapes a backslash takes the
  // byte after it as it is. Returns the position after the closing sequence, or npos if unclosed.
  template <typename Keep>
  std::size_t until(std::size_t i, const char* close, bool escapes, Keep keep) const {
    std::size_t k = std::strlen(close);
    while (i < mLength) {
      if (at(i, close))
        return i + k;
      if (escapes && mSource[i] == '\\' && i + 1 < mLength)
        ++i;
      keep(mSource[i++]);
    }
    return std::string::npos;
  }

public:
  Token lex() {
    while (mPos < mLength && isBlank(mSource[mPos]))
      ++mPos;
    Token t;
    t.pos = mPos;
    if (mPos >= mLength)
      return t;
    std::uint8_t c = mSource[mPos];
    static constexpr std::pair<char, Tok> punct[] = {
        {',', Tok::Comma},  {':', Tok::Colon},    {'(', Tok::LParen},
        {')', Tok::RParen}, {'[', Tok::LBracket}, {']', Tok::RBracket},
        {'{', Tok::LBrace}, {'}', Tok::RBrace},   {'~', Tok::Tilde}};
    for (auto [ch, kind] : punct)
      if (c == std::uint8_t(ch)) {
        ++mPos;
        t.kind = kind;
        return t;
      }
    if (c == '@') {
      bool twice = mPos + 1 < mLength && mSource[mPos + 1] == '@';
      mPos += twice ? 2 : 1;
      t.kind = twice ? Tok::DoubleAt : Tok::At;
      return t;
    }
    if (c == '-' || (c >= '0' && c <= '9'))
      return integer(t);
    // Of the opening quotes only ' " and $ are ASCII: any other ASCII byte starts a bare word.
    bool mayQuote = c >= 0x80 || c == '\'' || c == '"' || c == '$';
    if (const Quote* q = mayQuote ? quoteAt(mPos, kIdentQuotes) : nullptr) {
      // Only a code's first four bytes count: they are kept without collecting the rest.
      std::uint8_t name[4];
      std::size_t length = 0;
      std::size_t end = until(mPos + std::strlen(q->open), q->close, true, [&](std::uint8_t b) {
        if (length < 4)
          name[length++] = b;
      });
      if (end == std::string::npos)
        fail(aeBuildSyntaxMissingQuote, t.pos);
      mPos = end;
      t.kind = Tok::Ident;
      t.code = padCode(name, length);
      return t;
    }
    if (const Quote* q = mayQuote ? quoteAt(mPos, kStringQuotes) : nullptr) {
      std::size_t end = until(mPos + std::strlen(q->open), q->close, false,
                              [&](std::uint8_t b) { t.bytes.push_back(b); });
      if (end == std::string::npos)
        fail(aeBuildSyntaxNoCloseString, t.pos);
      mPos = end;
      t.kind = Tok::String;
      return t;
    }
    if (const Quote* q = mayQuote ? quoteAt(mPos, kHexQuotes) : nullptr)
      return hex(t, *q);
    if (startsSomething(mPos))
      fail(aeBuildSyntaxBadToken, t.pos);
    std::size_t start = mPos;
    while (mPos < mLength && !startsSomething(mPos))
      ++mPos;
    t.kind = Tok::Ident;
    t.code = padCode(mSource + start, mPos - start);
    return t;
  }

private:
  Token integer(Token& t) {
    std::size_t start = mPos;
    if (mSource[mPos] == '-') {
      ++mPos;
      if (mPos >= mLength || mSource[mPos] < '0' || mSource[mPos] > '9')
        fail(aeBuildSyntaxBadNegative, t.pos);
    }
    while (mPos < mLength && mSource[mPos] >= '0' && mSource[mPos] <= '9')
      ++mPos;
    const char* b = reinterpret_cast<const char*>(mSource + start);
    auto r = std::from_chars(b, reinterpret_cast<const char*>(mSource + mPos), t.number);
    t.overflow = r.ec != std::errc();
    t.kind = Tok::Integer;
    return std::move(t);
  }

  Token hex(Token& t, const Quote& q) {
    std::size_t i = mPos + std::strlen(q.open);
    int digits = 0;
    std::uint8_t acc = 0;
    for (;;) {
      if (i >= mLength)
        fail(aeBuildSyntaxNoCloseHex, t.pos);
      if (at(i, q.close))
        break;
      std::uint8_t c = mSource[i];
      int v = c >= '0' && c <= '9'   ? c - '0'
              : c >= 'a' && c <= 'f' ? c - 'a' + 10
              : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                     : -1;
      if (v < 0) {
        if (!isBlank(c))
          fail(aeBuildSyntaxBadHex, i);
      } else {
        acc = std::uint8_t(acc << 4 | v);
        if (++digits % 2 == 0)
          t.bytes.push_back(acc);
      }
      ++i;
    }
    if (digits % 2)
      fail(aeBuildSyntaxOddHex, t.pos);
    mPos = i + std::strlen(q.close);
    t.kind = Tok::Hex;
    return std::move(t);
  }

  const std::uint8_t* mSource;
  std::size_t mLength;
  std::size_t mPos = 0;
};

// Build strings are nearly always constants in the caller's code, built with again and again
// (the plug-in's event, once per message): the tokens of a bounded number of short strings are
// kept instead of being lexed each time. Nothing for any other string, which is lexed as it is
// parsed.
std::shared_ptr<const Tokens> keptTokens(const char* src, std::size_t length) {
  constexpr std::size_t kLongestKept = 512, kMostKept = 64;
  if (length > kLongestKept)
    return nullptr;
  struct Kept {
    std::mutex lock;
    std::map<std::string, std::shared_ptr<const Tokens>, std::less<>> tokens;
  };
  static auto* kept = new Kept; // never destroyed: builds may run from static destructors
  std::string_view text(src, length);
  std::lock_guard guard(kept->lock);
  if (auto found = kept->tokens.find(text); found != kept->tokens.end())
    return found->second;
  if (kept->tokens.size() == kMostKept)
    return nullptr;
  auto tokens = std::make_shared<const Tokens>(Scanner(src, length).all());
  kept->tokens.emplace(text, tokens);
  return tokens;
}

class Lexer {
public:
  explicit Lexer(const char* src) : mScanner(src, std::strlen(src)) {
    mTokens = keptTokens(src, mScanner.length());
  }

  const Token& peek() {
    if (mTokens) {
      if (mNext == mTokens->list.size())
        throw *mTokens->failure; // the parser got as far as the text that could not be read
      return mTokens->list[mNext];
    }
    if (!mAhead)
      mAhead = mScanner.lex();
    return *mAhead;
  }
  Token next() {
    if (mTokens) {
      const Token& t = peek();
      if (t.kind != Tok::End)
        ++mNext;
      return t;
    }
    peek();
    Token t = std::move(*mAhead);
    mAhead.reset();
    return t;
  }

private:
  Scanner mScanner;
  std::shared_ptr<const Tokens> mTokens;
  std::size_t mNext = 0;
  std::optional<Token> mAhead;
};

class Parser {
public:
  Parser(const char* src, va_list* args) : mLexer(src), mArgs(args) {}

  Value descriptor() {
    Value v = object(0);
    expectEnd();
    return v;
  }

  // Parameters of an event: returns them with the keys marked optional by '~'.
  void parameters(std::vector<Entry>& params, std::vector<AEKeyword>& optional) {
    if (mLexer.peek().kind == Tok::End)
      return;
    for (;;) {
      bool isOptional = false;
      if (mLexer.peek().kind == Tok::Tilde) {
        mLexer.next();
        isOptional = true;
      }
      AEKeyword key = keyword();
      putEntry(params, key, object(0));
      if (isOptional && std::find(optional.begin(), optional.end(), key) == optional.end())
        optional.push_back(key);
      Token t = mLexer.next();
      if (t.kind == Tok::End)
        return;
      if (t.kind != Tok::Comma)
        fail(aeBuildSyntaxNoEOF, t.pos);
    }
  }

private:
  void expectEnd() {
    const Token& t = mLexer.peek();
    if (t.kind != Tok::End)
      fail(aeBuildSyntaxNoEOF, t.pos);
  }

  AEKeyword keyword() {
    Token t = mLexer.next();
    if (t.kind != Tok::Ident)
      fail(aeBuildSyntaxNoKey, t.pos);
    Token colon = mLexer.next();
    if (colon.kind != Tok::Colon)
      fail(aeBuildSyntaxNoColon, colon.pos);
    return t.code;
  }

  Value object(int depth) {
    if (depth > kMaxBuildNesting)
      fail(aeBuildSyntaxBadDesc, mLexer.peek().pos);
    Token t = mLexer.next();
    switch (t.kind) {
    case Tok::Integer:
      return bareInteger(t);
    case Tok::String:
      return makeScalar(typeChar, t.bytes.data(), t.bytes.size());
    case Tok::Hex:
      fail(aeBuildSyntaxUncoercedHex, t.pos);
    case Tok::At:
      return descArgument();
    case Tok::DoubleAt:
      fail(aeBuildSyntaxUncoercedDoubleAt, t.pos);
    case Tok::LParen:
      return data(std::nullopt);
    case Tok::LBracket:
      return list(depth);
    case Tok::LBrace:
      return record(typeAERecord, t.pos, depth);
    case Tok::Ident:
      switch (mLexer.peek().kind) {
      case Tok::LParen:
        mLexer.next();
        return data(t.code);
      case Tok::LBracket:
        if (t.code != typeAEList)
          fail(aeBuildSyntaxCoercedList, t.pos);
        mLexer.next();
        return list(depth);
      case Tok::LBrace:
        mLexer.next();
        return record(t.code, t.pos, depth);
      default:
        return makeScalar(typeEnumerated, &t.code, 4);
      }
    case Tok::End:
      fail(aeBuildSyntaxBadEOF, t.pos);
    default:
      fail(aeBuildSyntaxBadDesc, t.pos);
    }
  }

  static Value bareInteger(const Token& t) {
    if (t.overflow || !std::in_range<std::int32_t>(t.number))
      fail(aeBuildSyntaxBadToken, t.pos);
    if (t.number >= -32767 && t.number <= 32767) {
      auto s = std::int16_t(t.number);
      return makeScalar(typeSInt16, &s, 2);
    }
    auto l = std::int32_t(t.number);
    return makeScalar(typeSInt32, &l, 4);
  }

  Value list(int depth) {
    Value v = makeComposite(typeAEList, Kind::List);
    if (mLexer.peek().kind == Tok::RBracket) {
      mLexer.next();
      return v;
    }
    for (;;) {
      v.node->items.push_back({typeWildCard, object(depth + 1)});
      Token t = mLexer.next();
      if (t.kind == Tok::RBracket)
        return v;
      if (t.kind != Tok::Comma)
        fail(aeBuildSyntaxNoCloseBracket, t.pos);
    }
  }

  // A record under another type is the record coerced to it, as with AECoerceDesc.
  Value record(DescType type, std::size_t typePos, int depth) {
    Value v = makeComposite(typeAERecord, Kind::Record);
    if (mLexer.peek().kind == Tok::RBrace) {
      mLexer.next();
      return retyped(std::move(v), type, typePos);
    }
    for (;;) {
      AEKeyword key = keyword();
      putEntry(v.node->items, key, object(depth + 1));
      Token t = mLexer.next();
      if (t.kind == Tok::RBrace)
        break;
      if (t.kind != Tok::Comma)
        fail(aeBuildSyntaxNoCloseBrace, t.pos);
    }
    return retyped(std::move(v), type, typePos);
  }

  static Value retyped(Value record, DescType type, std::size_t typePos) {
    if (type == typeAERecord)
      return record;
    Value out;
    if (OSErr err = coerce(view(record), type, CompositeRule::Retypable, out))
      fail(aeBuildSyntaxBadData, typePos, err);
    return out;
  }

  // The inside of "(...)" after an optional type; the '(' is already read.
  Value data(std::optional<DescType> type) {
    Token t = mLexer.next();
    Value v;
    switch (t.kind) {
    case Tok::RParen:
      // "list()" and "reco()" are empty collections; an event cannot be empty. Other types get
      // a descriptor with no data.
      if (type == typeAEList || type == typeAERecord || type == typeAppleEvent) {
        if (OSErr err = valueFromData(*type, nullptr, 0, v))
          fail(aeBuildSyntaxBadData, t.pos, err);
        return v;
      }
      return Value(type.value_or(typeNull), nullptr);
    case Tok::Integer:
      v = typedInteger(t, type);
      break;
    case Tok::Ident:
      // Four bytes of a code are no collection or event.
      if (type == typeAEList || type == typeAERecord || type == typeAppleEvent)
        fail(aeBuildSyntaxBadData, t.pos);
      v = makeScalar(type.value_or(typeEnumerated), &t.code, 4);
      break;
    case Tok::String:
      v = typedBytes(type.value_or(typeChar), t.bytes, t.pos);
      break;
    case Tok::Hex:
      if (!type)
        fail(aeBuildSyntaxUncoercedHex, t.pos);
      v = typedBytes(*type, t.bytes, t.pos);
      break;
    case Tok::At:
      v = type ? typedArgument(*type, t.pos) : descArgument();
      break;
    case Tok::DoubleAt:
      if (!type)
        fail(aeBuildSyntaxUncoercedDoubleAt, t.pos);
      fail(aeBuildSyntaxBadData, t.pos, paramErr); // handles do not exist here
    case Tok::End:
      fail(aeBuildSyntaxNoCloseParen, t.pos);
    default:
      fail(aeBuildSyntaxBadData, t.pos);
    }
    Token close = mLexer.next();
    if (close.kind != Tok::RParen)
      fail(aeBuildSyntaxNoCloseParen, close.pos);
    return v;
  }

  static Value typedInteger(const Token& t, std::optional<DescType> type) {
    if (t.overflow)
      fail(aeBuildSyntaxBadData, t.pos);
    bool fitsLong = std::in_range<std::int32_t>(t.number);
    if (!type || *type == typeSInt32) {
      if (!fitsLong)
        fail(aeBuildSyntaxBadData, t.pos);
      auto l = std::int32_t(t.number);
      return makeScalar(typeSInt32, &l, 4);
    }
    Value from;
    if (fitsLong) {
      auto l = std::int32_t(t.number);
      from = makeScalar(typeSInt32, &l, 4);
    } else {
      from = makeScalar(typeSInt64, &t.number, 8);
    }
    Value out;
    if (OSErr err = coerce(view(from), *type, CompositeRule::Strict, out))
      fail(aeBuildSyntaxBadData, t.pos, err);
    return out;
  }

  static Value typedBytes(DescType type, const Bytes& bytes, std::size_t pos) {
    Value v;
    if (OSErr err = valueFromData(type, bytes.data(), Size(bytes.size()), v))
      fail(aeBuildSyntaxBadData, pos, err);
    return v;
  }

  Value descArgument() {
    const auto* d = va_arg(*mArgs, const AEDesc*);
    return d ? copyOf(d) : Value();
  }

  Value typedArgument(DescType type, std::size_t pos) {
    switch (type) {
    case typeBoolean: {
      std::uint8_t b = va_arg(*mArgs, int) != 0;
      return makeScalar(type, &b, 1);
    }
    case typeSInt16: {
      auto s = std::int16_t(va_arg(*mArgs, int));
      return makeScalar(type, &s, 2);
    }
    case typeSInt32:
    case typeEnumerated:
    case typeType: {
      std::int32_t l = va_arg(*mArgs, int);
      return makeScalar(type, &l, 4);
    }
    case typeIEEE32BitFloatingPoint: {
      double d = va_arg(*mArgs, double);
      if (std::isfinite(d) && std::fabs(d) > double(std::numeric_limits<float>::max()))
        fail(aeBuildSyntaxBadData, pos, errAECoercionFail);
      auto f = float(d);
      return makeScalar(type, &f, 4);
    }
    case typeIEEE64BitFloatingPoint: {
      double d = va_arg(*mArgs, double);
      return makeScalar(type, &d, 8);
    }
    case typeChar: {
      const char* s = va_arg(*mArgs, const char*);
      return makeScalar(type, s, s ? std::strlen(s) : 0);
    }
    default: {
      long size = va_arg(*mArgs, long);
      const void* p = va_arg(*mArgs, const void*);
      Value v;
      if (OSErr err = valueFromData(type, p, size, v))
        fail(aeBuildSyntaxBadData, pos, err);
      return v;
    }
    }
  }

  Lexer mLexer;
  va_list* mArgs;
};

void report(AEBuildError* error, AEBuildErrorCode code, std::size_t pos) {
  if (error) {
    error->fError = code;
    error->fErrorPos = UInt32(pos);
  }
}

// Runs a build, reporting syntax errors and turning failures into status codes.
template <class F>
OSStatus run(AEBuildError* error, const char* src, F&& body) {
  report(error, aeBuildSyntaxNoErr, 0);
  if (!src)
    return paramErr;
  try {
    body();
    return noErr;
  } catch (const BuildFailure& f) {
    report(error, f.code, f.pos);
    return f.status;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  } catch (const std::length_error&) {
    return memFullErr;
  }
}

// Adds built parameters to an event; '~' keywords join the event's 'optk' list.
void applyParameters(Node& event, std::vector<Entry>& params,
                     const std::vector<AEKeyword>& optional) {
  for (Entry& e : params)
    putEntry(event.items, e.key, std::move(e.value));
  if (optional.empty())
    return;
  Entry* optk = findEntry(event.attrs, keyOptionalKeywordAttr);
  if (!optk || optk->value.kind() != Kind::List) {
    putEntry(event.attrs, keyOptionalKeywordAttr, makeComposite(typeAEList, Kind::List));
    optk = findEntry(event.attrs, keyOptionalKeywordAttr);
  }
  auto& keys = optk->value.node->items;
  for (AEKeyword key : optional) {
    bool present = false;
    for (const Entry& e : keys)
      present =
          present || (view(e.value).size() == 4 && std::memcmp(view(e.value).data(), &key, 4) == 0);
    if (!present)
      keys.push_back({typeWildCard, makeScalar(typeKeyword, &key, 4)});
  }
}

} // namespace

extern "C" {

OSStatus vAEBuildDesc(AEDesc* dst, AEBuildError* error, const char* src, va_list args) {
  if (!dst)
    return paramErr;
  *dst = nullDesc();
  va_list ap;
  va_copy(ap, args);
  OSStatus status = run(error, src, [&] {
    Parser parser(src, &ap);
    *dst = parser.descriptor().release();
  });
  va_end(ap);
  return status;
}

OSStatus AEBuildDesc(AEDesc* dst, AEBuildError* error, const char* src, ...) {
  va_list ap;
  va_start(ap, src);
  OSStatus status = vAEBuildDesc(dst, error, src, ap);
  va_end(ap);
  return status;
}

OSStatus vAEBuildParameters(AppleEvent* event, AEBuildError* error, const char* format,
                            va_list args) {
  if (!event || kindOf(event) != Kind::Event)
    return errAENotAppleEvent;
  va_list ap;
  va_copy(ap, args);
  OSStatus status = run(error, format, [&] {
    Parser parser(format, &ap);
    std::vector<Entry> params;
    std::vector<AEKeyword> optional;
    parser.parameters(params, optional);
    applyParameters(*nodeOf(event), params, optional);
  });
  va_end(ap);
  return status;
}

OSStatus AEBuildParameters(AppleEvent* event, AEBuildError* error, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  OSStatus status = vAEBuildParameters(event, error, format, ap);
  va_end(ap);
  return status;
}

OSStatus vAEBuildAppleEvent(AEEventClass theClass, AEEventID theID, DescType addressType,
                            const void* addressData, Size addressLength, SInt16 returnID,
                            SInt32 transactionID, AppleEvent* result, AEBuildError* error,
                            const char* paramsFmt, va_list args) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  report(error, aeBuildSyntaxNoErr, 0);
  OSStatus status = guarded([&] {
    Value address;
    if (OSErr err = valueFromData(addressType, addressData, addressLength, address))
      return err;
    *result = newEvent(theClass, theID, std::move(address), returnID, transactionID).release();
    return OSErr(noErr);
  });
  if (status != noErr)
    return status;
  status = vAEBuildParameters(result, error, paramsFmt, args);
  if (status != noErr)
    disposeDesc(result);
  return status;
}

OSStatus AEBuildAppleEvent(AEEventClass theClass, AEEventID theID, DescType addressType,
                           const void* addressData, Size addressLength, SInt16 returnID,
                           SInt32 transactionID, AppleEvent* result, AEBuildError* error,
                           const char* paramsFmt, ...) {
  va_list ap;
  va_start(ap, paramsFmt);
  OSStatus status = vAEBuildAppleEvent(theClass, theID, addressType, addressData, addressLength,
                                       returnID, transactionID, result, error, paramsFmt, ap);
  va_end(ap);
  return status;
}

} // extern "C"
