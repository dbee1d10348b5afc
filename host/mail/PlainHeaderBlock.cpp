#include "PlainHeaderBlock.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

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

void trim(std::string& text) {
  while (!text.empty() && isBlank(text.back()))
    text.pop_back();
  std::size_t lead = 0;
  while (lead < text.size() && isBlank(text[lead]))
    ++lead;
  text.erase(0, lead);
}

} // namespace

std::optional<PlainHeaderBlock> readPlainHeaderBlock(std::string_view message) {
  PlainHeaderBlock block;
  block.fields.reserve(32);
  std::size_t fieldAt = 0, valueAt = 0; // where the current field and its value start
  bool decoded = false;                 // whether its value is for the decoder
  auto endField = [&](std::size_t end) {
    if (block.fields.empty())
      return;
    HeaderField& field = block.fields.back();
    if (decoded) {
      field.value.assign(message.substr(valueAt, end - valueAt));
      block.toDecode.push_back(block.fields.size() - 1);
    } else {
      trim(field.value);
    }
    if (shapesTheForm(field.name))
      block.contentFields.append(message.substr(fieldAt, end - fieldAt));
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
      return block;
    }
    LineText text = textOf(line);
    if (text == LineText::Refused)
      return std::nullopt;
    if (isBlank(line.front())) {
      if (block.fields.empty())
        return std::nullopt;
      block.fields.back().value.append(line);
    } else {
      std::size_t colon = line.find(':');
      if (colon == 0 || colon == std::string_view::npos ||
          !std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon), isNameChar))
        return std::nullopt;
      endField(at);
      block.fields.push_back(
          {std::string(line.substr(0, colon)), std::string(line.substr(colon + 1))});
      fieldAt = at;
      valueAt = at + colon + 1;
      decoded = false;
    }
    decoded |= text == LineText::Decoded;
    at = lf + 1;
  }
}

} // namespace mailhost
