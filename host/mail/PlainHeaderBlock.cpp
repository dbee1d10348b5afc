#include "PlainHeaderBlock.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace mailhost {

namespace {

bool isNameChar(char c) {
  // Narrower than what a field name may hold: anything else is left to GMime.
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_' || c == '.';
}

enum class LineText { Plain, Decoded, Refused };

bool isControl(char c) {
  return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f;
}

// Printable ASCII and tab is plain, 8-bit text or an encoded word is for the decoder; any other
// control byte (a NUL, a bare CR) is GMime's to read. Eight bytes at a time, since most of a
// header block is plain.
LineText textOf(std::string_view line) {
  constexpr std::uint64_t ones = 0x0101010101010101ULL, highs = 0x8080808080808080ULL;
  const char* text = line.data();
  bool eightBit = false;
  std::size_t i = 0;
  auto check = [&](std::size_t from, std::size_t to) {
    for (std::size_t j = from; j < to; ++j) {
      if (isControl(text[j]))
        return false;
      eightBit |= (text[j] & 0x80) != 0;
    }
    return true;
  };
  for (; i + 8 <= line.size(); i += 8) {
    std::uint64_t x;
    std::memcpy(&x, text + i, sizeof x);
    std::uint64_t del = x ^ (ones * 0x7f);
    std::uint64_t suspect = (x | ((x - ones * 0x20) & ~x) | ((del - ones) & ~del)) & highs;
    if (suspect && !check(i, i + 8))
      return LineText::Refused;
  }
  if (!check(i, line.size()))
    return LineText::Refused;
  return eightBit || line.find("=?") != std::string_view::npos ? LineText::Decoded
                                                               : LineText::Plain;
}

bool equalsIgnoringCase(std::string_view a, std::string_view lower) {
  return a.size() == lower.size() &&
         std::equal(lower.begin(), lower.end(), a.begin(),
                    [](char l, char c) { return l == (c >= 'A' && c <= 'Z' ? c + 32 : c); });
}

// The fields the filter form reads from a part's own headers: what it is, how it is encoded,
// whether it is attached and under which name.
bool shapesTheForm(std::string_view name) {
  return name.size() >= 12 && (name[0] == 'C' || name[0] == 'c') &&
         (equalsIgnoringCase(name, "content-type") ||
          equalsIgnoringCase(name, "content-transfer-encoding") ||
          equalsIgnoringCase(name, "content-disposition"));
}

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

bool isFolding(char c) {
  return isBlank(c) || c == '\r' || c == '\n';
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isFolding(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && isFolding(text.back()))
    text.remove_suffix(1);
  return text;
}

// A plain value as its own text: unfolded (line breaks dropped) and trimmed.
void assignUnfolded(std::string& value, std::string_view raw) {
  raw = trimmed(raw);
  value.reserve(raw.size());
  for (std::size_t lf; (lf = raw.find('\n')) != std::string_view::npos;) {
    value.append(raw.substr(0, lf > 0 && raw[lf - 1] == '\r' ? lf - 1 : lf));
    raw.remove_prefix(lf + 1);
  }
  value.append(raw);
}

// A field as written, with each run of empty parameters (";;", "; ;", folded or not) cut to its
// last ';'. An empty parameter holds nothing and GMime's parser skips it, but only after
// allocating for it: a hostile Content-Type of thousands of them cost hundreds of KiB and tens of
// thousands of allocations for one message of 24 KB. Quoted strings and comments are copied as
// they are.
void appendWithoutEmptyParameters(std::string& out, std::string_view field) {
  bool quoted = false;
  int comments = 0;
  for (std::size_t i = 0; i < field.size(); ++i) {
    char c = field[i];
    if (quoted || comments > 0) {
      if (c == '\\' && i + 1 < field.size()) {
        out += c;
        c = field[++i];
      } else if (quoted && c == '"') {
        quoted = false;
      } else if (!quoted && c == '(') {
        ++comments;
      } else if (!quoted && c == ')') {
        --comments;
      }
    } else if (c == '"') {
      quoted = true;
    } else if (c == '(') {
      comments = 1;
    } else if (c == ';') {
      std::size_t next = field.find_first_not_of(" \t\r\n", i + 1);
      if (next != std::string_view::npos && field[next] == ';') {
        i = next - 1; // this one is empty: go on from the next ';'
        continue;
      }
    }
    out += c;
  }
}

bool isTokenChar(char c) {
  return c > ' ' && c < 0x7f &&
         std::string_view("()<>@,;:\\\"/[]?=").find(c) == std::string_view::npos;
}

// A Content-Type value of text/plain or text/html with plain parameters; `charset` gets the
// charset parameter's value.
bool readTextType(std::string_view value, std::string& charset) {
  std::size_t at = 0;
  auto skipBlanks = [&] {
    while (at < value.size() && isFolding(value[at]))
      ++at;
  };
  auto token = [&] {
    std::size_t from = at;
    while (at < value.size() && isTokenChar(value[at]))
      ++at;
    return value.substr(from, at - from);
  };
  skipBlanks();
  std::string_view type = token();
  if (at == value.size() || value[at++] != '/' || !equalsIgnoringCase(type, "text"))
    return false;
  std::string_view subtype = token();
  if (!equalsIgnoringCase(subtype, "plain") && !equalsIgnoringCase(subtype, "html"))
    return false;
  bool hasCharset = false;
  for (;;) {
    skipBlanks();
    if (at == value.size())
      return true;
    if (value[at++] != ';')
      return false;
    skipBlanks();
    if (at == value.size())
      return true;
    std::string_view name = token();
    skipBlanks();
    if (name.empty() || at == value.size() || value[at++] != '=')
      return false;
    skipBlanks();
    std::string_view parameter;
    if (at < value.size() && value[at] == '"') {
      std::size_t close = value.find('"', at + 1);
      parameter = value.substr(at + 1, close - at - 1);
      if (close == std::string_view::npos ||
          parameter.find_first_of("\\\r\n") != std::string_view::npos)
        return false;
      at = close + 1;
    } else {
      parameter = token();
    }
    if (name.find('*') != std::string_view::npos)
      return false;
    if (equalsIgnoringCase(name, "charset")) {
      if (hasCharset || parameter.empty())
        return false;
      hasCharset = true;
      charset.assign(parameter);
    }
  }
}

} // namespace

std::optional<std::string> plainTextCharset(const PlainHeaderBlock& block) {
  std::string_view fields = block.contentFields;
  std::string charset;
  bool sawType = false, sawEncoding = false;
  while (!fields.empty()) {
    std::size_t end = 0; // past the field's last line
    do {
      std::size_t lf = fields.find('\n', end);
      end = lf == std::string_view::npos ? fields.size() : lf + 1;
    } while (end < fields.size() && isBlank(fields[end]));
    std::string_view field = fields.substr(0, end);
    fields.remove_prefix(end);
    std::size_t colon = field.find(':');
    std::string_view name = field.substr(0, colon), value = field.substr(colon + 1);
    if (equalsIgnoringCase(name, "content-type")) {
      if (std::exchange(sawType, true) || !readTextType(value, charset))
        return std::nullopt;
    } else if (equalsIgnoringCase(name, "content-transfer-encoding")) {
      std::string_view encoding = trimmed(value);
      if (std::exchange(sawEncoding, true) ||
          !(equalsIgnoringCase(encoding, "7bit") || equalsIgnoringCase(encoding, "8bit") ||
            equalsIgnoringCase(encoding, "binary")))
        return std::nullopt;
    } else {
      return std::nullopt; // Content-Disposition
    }
  }
  return charset;
}

std::optional<PlainHeaderBlock> readPlainHeaderBlock(std::string_view message) {
  PlainHeaderBlock block;
  block.fields.reserve(32);
  std::size_t fieldAt = 0, valueAt = 0; // where the current field and its value start
  bool decoded = false;                 // whether its value is for the decoder
  auto endField = [&](std::size_t end) {
    if (block.fields.empty())
      return;
    HeaderField& field = block.fields.back();
    std::string_view raw = message.substr(valueAt, end - valueAt);
    if (decoded) {
      field.value.assign(raw);
      block.toDecode.push_back(block.fields.size() - 1);
    } else {
      assignUnfolded(field.value, raw);
    }
    if (shapesTheForm(field.name))
      appendWithoutEmptyParameters(block.contentFields, message.substr(fieldAt, end - fieldAt));
  };

  for (std::size_t at = 0;;) {
    std::size_t lf = message.find('\n', at);
    if (lf == std::string_view::npos)
      return std::nullopt; // no empty line ends the block
    std::size_t end = lf > at && message[lf - 1] == '\r' ? lf - 1 : lf;
    std::string_view line = message.substr(at, end - at);
    if (line.empty()) {
      endField(at);
      block.blankLine = at;
      block.body = lf + 1;
      return block;
    }
    LineText text = textOf(line);
    if (text == LineText::Refused)
      return std::nullopt;
    if (isBlank(line.front())) {
      if (block.fields.empty())
        return std::nullopt;
    } else {
      std::size_t colon = line.find(':');
      if (colon == 0 || colon == std::string_view::npos ||
          !std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon),
                       [](char c) { return isNameChar(c); }))
        return std::nullopt;
      endField(at);
      block.fields.push_back({std::string(line.substr(0, colon)), {}});
      fieldAt = at;
      valueAt = at + colon + 1;
      decoded = false;
    }
    decoded |= text == LineText::Decoded;
    at = lf + 1;
  }
}

} // namespace mailhost
