#include "MessageDigest.h"

#include <glib.h>

namespace quellbark {

std::string messageDigest(std::span<const std::string_view> parts) {
  GChecksum* checksum = g_checksum_new(G_CHECKSUM_SHA256);
  // g_checksum_update takes a signed length: feed large parts in pieces.
  constexpr std::size_t kPiece = std::size_t(1) << 30;
  for (std::string_view const bytes : parts) {
    for (std::size_t done = 0; done < bytes.size(); done += kPiece) {
      std::string_view const piece = bytes.substr(done, kPiece);
      g_checksum_update(checksum, reinterpret_cast<const guchar*>(piece.data()),
                        static_cast<gssize>(piece.size()));
    }
  }
  std::string digest(32, '\0');
  gsize length = digest.size();
  g_checksum_get_digest(checksum, reinterpret_cast<guint8*>(digest.data()), &length);
  g_checksum_free(checksum);
  digest.resize(length);
  return digest;
}

} // namespace quellbark
