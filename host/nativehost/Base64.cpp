#include "Base64.h"

#include <glib.h>

namespace mailhost {

std::optional<std::string> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0)
    return std::nullopt;
  std::size_t padding = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    bool alphabet = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                    c == '+' || c == '/';
    if (c == '=' && i + 2 >= text.size()) {
      ++padding;
      continue;
    }
    if (!alphabet || padding > 0)
      return std::nullopt;
  }
  std::string result;
  result.resize(text.size() / 4 * 3);
  gint state = 0;
  guint save = 0;
  gsize written = g_base64_decode_step(text.data(), text.size(),
                                       reinterpret_cast<guchar*>(result.data()), &state, &save);
  result.resize(written);
  return result;
}

} // namespace mailhost
