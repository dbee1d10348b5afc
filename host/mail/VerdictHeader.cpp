#include "VerdictHeader.h"

#include <optional>
#include <string>
#include <strings.h>

namespace mailhost {

namespace {

constexpr std::string_view kFromLine = "From ";

// The line that starts at `at`, its line end included (the rest of the text when it has none).
std::string_view lineAt(std::string_view text, std::size_t at) {
  std::size_t lf = text.find('\n', at);
  return text.substr(at, lf == std::string_view::npos ? std::string_view::npos : lf + 1 - at);
}

// Where the header block starts: after a leading mbox "From " line.
std::size_t headerStart(std::string_view message) {
  return message.starts_with(kFromLine) ? lineAt(message, 0).size() : 0;
}

bool isContinuation(std::string_view line) {
  return !line.empty() && (line[0] == ' ' || line[0] == '\t');
}

// The field's name when the line starts a header field: printable characters up to a colon, with
// blanks allowed before the colon as older mail writes them.
std::optional<std::string_view> fieldName(std::string_view line) {
  std::size_t end = 0;
  while (end < line.size() && line[end] > ' ' && line[end] < 127 && line[end] != ':')
    ++end;
  std::size_t colon = end;
  while (colon < line.size() && (line[colon] == ' ' || line[colon] == '\t'))
    ++colon;
  if (end == 0 || colon == line.size() || line[colon] != ':')
    return std::nullopt;
  return line.substr(0, end);
}

bool isVerdictField(std::string_view name) {
  return name.size() == kVerdictFieldName.size() &&
         strncasecmp(name.data(), kVerdictFieldName.data(), name.size()) == 0;
}

} // namespace

bool startsWithHeaderField(std::string_view message) {
  std::size_t start = headerStart(message);
  return start < message.size() && fieldName(lineAt(message, start)).has_value();
}

void writeWithVerdictField(std::string_view message, std::string_view verdict,
                           const std::function<void(std::string_view)>& write) {
  std::size_t at = headerStart(message);
  write(message.substr(0, at));
  std::string_view first = lineAt(message, at);
  if (first.empty()) // no header line of its own to go by: the "From " line's
    first = lineAt(message, 0);
  std::string field = std::string(kVerdictFieldName) + ": " + std::string(verdict) +
                      (first.ends_with("\r\n") ? "\r\n" : "\n");
  write(field);

  std::size_t kept = at; // the start of the bytes not yet written
  bool dropping = false;
  while (at < message.size()) {
    std::string_view line = lineAt(message, at);
    if (!isContinuation(line)) {
      std::optional<std::string_view> name = fieldName(line);
      if (!name)
        break; // the empty line before the body, or the body itself
      bool verdictField = isVerdictField(*name);
      if (verdictField && !dropping)
        write(message.substr(kept, at - kept));
      else if (!verdictField && dropping)
        kept = at;
      dropping = verdictField;
    }
    at += line.size();
  }
  if (dropping)
    kept = at;
  write(message.substr(kept));
}

} // namespace mailhost
