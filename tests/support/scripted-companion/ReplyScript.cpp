#include "ReplyScript.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <sstream>

namespace scripted {
namespace {

std::optional<DescType> typeNamed(std::string_view name) {
  if (name == "shor")
    return typeSInt16;
  if (name == "long")
    return typeSInt32;
  if (name == "TEXT")
    return typeChar;
  return std::nullopt;
}

template <typename Number>
bool parseNumber(std::string_view text, Number& value) {
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  return ec == std::errc() && end == text.data() + text.size();
}

// The number's bytes in host order; false when text is not one.
template <typename Number>
bool numberBytes(std::string_view text, std::vector<unsigned char>& bytes) {
  Number value{};
  if (!parseNumber(text, value))
    return false;
  bytes.resize(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return true;
}

// "TYPE:VALUE", or a bare VALUE of defaultType.
std::optional<ScriptedValue> parseValue(std::string_view text, DescType defaultType) {
  ScriptedValue value;
  value.type = defaultType;
  if (auto colon = text.find(':'); colon != std::string_view::npos) {
    auto type = typeNamed(text.substr(0, colon));
    if (!type)
      return std::nullopt;
    value.type = *type;
    text = text.substr(colon + 1);
  }
  if (value.type == typeSInt16)
    return numberBytes<std::int16_t>(text, value.bytes) ? std::optional(value) : std::nullopt;
  if (value.type == typeSInt32)
    return numberBytes<std::int32_t>(text, value.bytes) ? std::optional(value) : std::nullopt;
  value.bytes.assign(text.begin(), text.end());
  return value;
}

std::optional<ScriptedReply> parseLine(const std::string& line) {
  ScriptedReply reply;
  std::istringstream words(line.substr(0, line.find('#')));
  std::string word;
  while (words >> word) {
    std::string_view w = word;
    auto argument = [&](std::string_view key) -> std::optional<std::string_view> {
      if (w.size() > key.size() && w.starts_with(key) && w[key.size()] == '=')
        return w.substr(key.size() + 1);
      return std::nullopt;
    };
    if (w == "ok") {
      continue;
    } else if (w == "null") {
      reply.nullReply = true;
    } else if (auto score = argument("score")) {
      if (!(reply.directObject = parseValue(*score, typeSInt16)))
        return std::nullopt;
    } else if (auto errn = argument("errn")) {
      if (!(reply.errorNumber = parseValue(*errn, typeSInt16)))
        return std::nullopt;
    } else if (auto delay = argument("delay")) {
      if (!parseNumber(*delay, reply.delayMilliseconds) || reply.delayMilliseconds < 0)
        return std::nullopt;
    } else {
      return std::nullopt;
    }
  }
  return reply;
}

} // namespace

const ScriptedReply& ReplyScript::replyFor(std::size_t eventIndex) const {
  static const ScriptedReply defaultReply;
  if (replies.empty())
    return defaultReply;
  return replies[std::min(eventIndex, replies.size() - 1)];
}

std::optional<ReplyScript> parseReplyScript(std::string_view text, std::string& problem) {
  ReplyScript script;
  std::istringstream lines{std::string(text)};
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos || line.front() == '#')
      continue;
    auto reply = parseLine(line);
    if (!reply) {
      problem = "line " + std::to_string(number) + ": cannot read \"" + line + "\"";
      return std::nullopt;
    }
    script.replies.push_back(*reply);
  }
  return script;
}

} // namespace scripted
