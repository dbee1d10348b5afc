#include "MessageForm.h"

#include <algorithm>
#include <cctype>
#include <gmime/gmime.h>
#include <mutex>
#include <string_view>

namespace quellbark {

namespace {

// Header names and MIME types are ASCII: no locale is needed to compare them.
char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return asciiLower(x) == asciiLower(y);
         });
}

bool startsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && equalNoCase(text.substr(0, prefix.size()), prefix);
}

bool containsNoCase(std::string_view text, std::string_view word) {
  for (std::size_t at = 0; at + word.size() <= text.size(); ++at) {
    if (equalNoCase(text.substr(at, word.size()), word)) {
      return true;
    }
  }
  return false;
}

bool isBlank(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; });
}

std::vector<std::string_view> split(std::string_view bytes, std::string_view separator) {
  std::vector<std::string_view> pieces;
  if (separator.empty()) {
    pieces.push_back(bytes);
    return pieces;
  }
  while (true) {
    std::size_t const at = bytes.find(separator);
    std::string_view piece = bytes.substr(0, at);
    while (!piece.empty() && (piece.front() == '\n' || piece.front() == '\r')) {
      piece.remove_prefix(1);
    }
    if (!isBlank(piece)) {
      pieces.push_back(piece);
    }
    if (at == std::string_view::npos) {
      break;
    }
    bytes.remove_prefix(at + separator.size());
  }
  if (pieces.empty()) {
    pieces.push_back({});
  }
  return pieces;
}

// One logical line: a line with its continuation lines (those starting with blank or tab).
struct Unfolded {
  std::string_view text;
  std::size_t end;
};

Unfolded logicalLine(std::string_view bytes, std::size_t start) {
  std::size_t end = start;
  do {
    std::size_t const nl = bytes.find('\n', end);
    end = nl == std::string_view::npos ? bytes.size() : nl + 1;
  } while (end < bytes.size() && (bytes[end] == ' ' || bytes[end] == '\t'));
  return {bytes.substr(start, end - start), end};
}

std::string boundaryOf(std::string_view contentTypeLine) {
  if (!containsNoCase(contentTypeLine, "multipart")) {
    return {}; // most messages: nothing to parse
  }
  static std::once_flag once;
  std::call_once(once, [] { g_mime_init(); });
  std::string value(contentTypeLine.substr(contentTypeLine.find(':') + 1));
  GMimeContentType* type = g_mime_content_type_parse(nullptr, value.c_str());
  if (type == nullptr) {
    return {};
  }
  std::string boundary;
  if (g_mime_content_type_is_type(type, "multipart", "*")) {
    const char* b = g_mime_content_type_get_parameter(type, "boundary");
    boundary = b != nullptr ? b : "";
    if (boundary.empty()) {
      boundary = "\n"; // a multipart without a boundary can never be split
    }
  }
  g_object_unref(type);
  return boundary;
}

// Adds a run of bytes, joined to the last one when it follows on from it.
void addRun(MessageParts& parts, std::string_view run) {
  if (run.empty()) {
    return;
  }
  if (!parts.empty() && parts.back().data() + parts.back().size() == run.data()) {
    parts.back() = {parts.back().data(), parts.back().size() + run.size()};
    return;
  }
  parts.push_back(run);
}

constexpr std::string_view kTransferEncoding = "Content-Transfer-Encoding:";

// Adds `message` (whole lines) without them, in the runs between them.
void addWithoutTransferEncodings(std::string_view message, MessageParts& parts) {
  std::size_t kept = 0; // start of the run not yet added
  std::size_t at = 0;   // start of the current line
  while (at < message.size()) {
    if (asciiLower(message[at]) == 'c' && startsWithNoCase(message.substr(at), kTransferEncoding)) {
      addRun(parts, message.substr(kept, at - kept));
      at = kept = logicalLine(message, at).end;
      continue;
    }
    std::size_t const nl = message.find('\n', at);
    at = nl == std::string_view::npos ? message.size() : nl + 1;
  }
  addRun(parts, message.substr(kept));
}

// The headers are rewritten line by line; the body keeps all but its transfer encodings.
MessageParts withDecodedStructure(std::string_view message) {
  static constexpr std::string_view kPlainText = "Content-Type: text/plain\n";
  MessageParts parts;
  std::size_t at = 0;
  while (at < message.size()) {
    const Unfolded line = logicalLine(message, at);
    at = line.end;
    if (line.text == "\n" || line.text == "\r\n") {
      addRun(parts, line.text);
      break; // end of the headers
    }
    if (startsWithNoCase(line.text, kTransferEncoding)) {
      continue;
    }
    if (startsWithNoCase(line.text, "Content-Type:")) {
      std::string const boundary = boundaryOf(line.text);
      if (!boundary.empty() && message.find("--" + boundary, at) == std::string_view::npos) {
        addRun(parts, kPlainText);
        continue;
      }
    }
    addRun(parts, line.text);
  }
  addWithoutTransferEncodings(message.substr(std::min(at, message.size())), parts);
  return parts;
}

} // namespace

std::vector<MessageParts> prepareMessages(std::string_view bytes, const MessageForm& form) {
  static constexpr std::string_view kNoHeaders = "\n";
  std::vector<MessageParts> messages;
  for (std::string_view const piece : split(bytes, form.separator)) {
    if (!form.rfc822) {
      messages.push_back({kNoHeaders, piece});
    } else if (form.decoded) {
      messages.push_back(withDecodedStructure(piece));
    } else {
      messages.push_back({piece});
    }
  }
  return messages;
}

} // namespace quellbark
