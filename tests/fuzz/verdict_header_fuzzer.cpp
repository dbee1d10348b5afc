// Untrusted mail into the delivery filter's header rewriting: whatever the bytes, the result
// holds exactly one verdict field, and rewriting it again changes nothing (a forged field is
// always dropped, and nothing else is touched).
#include "VerdictHeader.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

std::string rewritten(std::string_view message, std::string_view verdict) {
  std::string out;
  mailhost::writeWithVerdictField(message, verdict, [&](std::string_view piece) { out += piece; });
  return out;
}

std::size_t verdictFields(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find("X-Quellbark-Status: ", at)) != std::string::npos; ++at)
    if (at == 0 || text[at - 1] == '\n')
      ++count;
  return count;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string message(reinterpret_cast<const char*>(data), size);
  if (!mailhost::startsWithHeaderField(message))
    return 0; // the filter refuses it before rewriting
  std::string once = rewritten(message, "junk");
  if (once.size() < std::string_view("X-Quellbark-Status: junk\n").size())
    std::abort();
  if (rewritten(once, "junk") != once)
    std::abort();
  std::string other = rewritten(once, "good");
  if (verdictFields(other.substr(0, other.find("\n\n"))) < 1)
    std::abort();
  return 0;
}
