#include "MessageDigest.h"

#include <glib.h>

namespace quellbark {

std::string messageDigest(std::string_view bytes) {
  GChecksum* checksum = g_checksum_new(G_CHECKSUM_SHA256);
  // g_checksum_update takes a signed length: feed large messages in parts.
  constexpr std::size_t kPart = std::size_t(1) << 30;
  for (std::size_t done = 0; done < bytes.size(); done += kPart) {
    std::string_view const part = bytes.substr(done, kPart);
    g_checksum_update(checksum, reinterpret_cast<const guchar*>(part.data()),
                      static_cast<gssize>(part.size()));
  }
  std::string digest(32, '\0');
  gsize length = digest.size();
  g_checksum_get_digest(checksum, reinterpret_cast<guint8*>(digest.data()), &length);
  g_checksum_free(checksum);
  digest.resize(length);
  return digest;
}

} // namespace quellbark
