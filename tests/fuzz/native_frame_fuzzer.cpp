// Untrusted bytes on the native host's standard input: the frame reader must take them apart
// without reading past them or holding more than its limit, and base64 it accepts must decode
// to bytes that survive encoding and decoding again (unused low bits of the last character are
// not checked, so the text itself need not come back).
#include "Base64.h"
#include "NativeMessaging.h"

#include <glib.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  int fd = ::memfd_create("frames", 0);
  if (fd < 0 || ::write(fd, data, size) != static_cast<ssize_t>(size) ||
      ::lseek(fd, 0, SEEK_SET) != 0)
    std::abort();
  constexpr std::size_t kLimit = 4096; // small, so that the fuzzer reaches it
  mailhost::FrameReader reader(fd, kLimit);
  std::size_t consumed = 0;
  for (;;) {
    mailhost::Frame frame = reader.next();
    if (frame.kind == mailhost::Frame::Kind::Message) {
      if (frame.body.size() > kLimit)
        std::abort();
      consumed += 4 + frame.body.size();
      if (std::optional<std::string> decoded = mailhost::decodeBase64(frame.body)) {
        gchar* encoded =
            g_base64_encode(reinterpret_cast<const guchar*>(decoded->data()), decoded->size());
        bool same = mailhost::decodeBase64(encoded) == decoded;
        g_free(encoded);
        if (!same)
          std::abort();
      }
      continue;
    }
    if (frame.kind == mailhost::Frame::Kind::Oversized) {
      if (frame.length <= kLimit)
        std::abort();
      consumed += 4 + frame.length;
      continue;
    }
    break;
  }
  if (consumed > size)
    std::abort();
  ::close(fd);
  return 0;
}
