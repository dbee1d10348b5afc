#include "CharsetConverters.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <iconv.h>
#include <mutex>
#include <string>
#include <vector>

namespace mailhost {

namespace {

struct Kept {
  std::mutex lock;
  std::vector<std::string> names;  // as asked for, and as GMime names them for the C library
  std::vector<iconv_t> converters; // open until the process ends
};

// Names that are not character sets are remembered too, up to a bound, so that a message full of
// made-up names costs one look-up each.
constexpr std::size_t kMaxNames = 4 * CharsetConverters::kMaxKept;

// Never destroyed: the conversions stay open until the process ends.
Kept& keptConverters() {
  static Kept* instance = new Kept;
  return *instance;
}

bool isBuiltIn(std::string_view charset) {
  auto is = [&](std::string_view name) {
    return charset.size() == name.size() &&
           g_ascii_strncasecmp(charset.data(), name.data(), name.size()) == 0;
  };
  return is("utf-8") || is("utf8") || is("us-ascii") || is("ascii");
}

// The one-byte character sets of most mail (ISO 8859, the Windows code pages, KOI8) convert
// through small tables; the multibyte East Asian ones through tables of 50 to 120 KiB, which a
// kept module would hold resident, more of them the more text it meets.
bool isSingleByte(std::string_view name) {
  auto startsWith = [&](std::string_view prefix) {
    return name.size() > prefix.size() &&
           g_ascii_strncasecmp(name.data(), prefix.data(), prefix.size()) == 0;
  };
  return startsWith("iso-8859-") || startsWith("iso8859-") || startsWith("cp125") ||
         startsWith("windows-125") || startsWith("koi8-");
}

} // namespace

void CharsetConverters::keep(std::string_view charset) {
  if (charset.empty() || charset.size() > 64 || isBuiltIn(charset))
    return;
  Kept& state = keptConverters();
  std::lock_guard<std::mutex> guard(state.lock);
  auto known = [&](std::string_view name) {
    return std::find(state.names.begin(), state.names.end(), name) != state.names.end();
  };
  if (state.converters.size() >= kMaxKept || state.names.size() >= kMaxNames || known(charset))
    return;
  std::string asked(charset);
  // Another spelling of a kept charset ("latin1", "ISO_8859-1") is remembered, not opened again.
  std::string name = g_mime_charset_iconv_name(asked.c_str());
  bool opened = known(name) || isBuiltIn(name) || !isSingleByte(name);
  state.names.push_back(asked);
  if (opened)
    return;
  if (name != asked)
    state.names.push_back(name);
  // To the C library's own wide characters: one step, in the charset's module. A conversion to
  // UTF-8 takes a second step and, with it, a buffer of about 32 KiB for as long as it is open.
  if (iconv_t converter = iconv_open("WCHAR_T", name.c_str());
      converter != reinterpret_cast<iconv_t>(-1))
    state.converters.push_back(converter);
}

void CharsetConverters::keepForEncodedWords(std::string_view value) {
  // An encoded word starts "=?charset?B?" or "=?charset?Q?" (the charset may carry "*language").
  for (std::size_t at = value.find("=?"); at != std::string_view::npos;
       at = value.find("=?", at + 2)) {
    std::size_t end = value.find('?', at + 2);
    if (end == std::string_view::npos || end + 2 >= value.size() || value[end + 2] != '?' ||
        std::string_view("BbQq").find(value[end + 1]) == std::string_view::npos)
      continue;
    std::string_view charset = value.substr(at + 2, end - at - 2);
    charset = charset.substr(0, charset.find('*'));
    if (std::all_of(charset.begin(), charset.end(), [](char c) {
          return g_ascii_isalnum(c) ||
                 std::string_view("-_.:+()").find(c) != std::string_view::npos;
        }))
      keep(charset);
  }
}

std::size_t CharsetConverters::kept() {
  Kept& state = keptConverters();
  std::lock_guard<std::mutex> guard(state.lock);
  return state.converters.size();
}

} // namespace mailhost
