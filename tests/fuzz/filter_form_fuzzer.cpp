// Untrusted bytes as a message held in memory. A header block that is read without GMime's
// header objects must give the form GMime gives: the same bytes behind one more field that only
// GMime reads (a name the direct reading does not take) must give the same fields after it, the
// same attachments and body.
#include "FilterForm.h"
#include "MailError.h"
#include "PlainHeaderBlock.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

using namespace mailhost;

namespace {

std::optional<FilterForm> formOf(std::string_view bytes) {
  try {
    return toFilterForm(bytes);
  } catch (const MailError& error) {
    if (error.kind() != MailErrorKind::Unparseable)
      std::abort();
    return std::nullopt;
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::optional<FilterForm> form = formOf(bytes);
  if (bytes.starts_with("From ") || !readPlainHeaderBlock(bytes))
    return 0;

  constexpr std::string_view kGMimeField = "X!GMime: only\n";
  std::optional<FilterForm> decoded = formOf(std::string(kGMimeField) + std::string(bytes));
  if (!form || !decoded || decoded->headers.empty() ||
      decoded->headers.front() != HeaderField{"X!GMime", "only"})
    std::abort();
  decoded->headers.erase(decoded->headers.begin());
  if (form->headers != decoded->headers || form->attachments != decoded->attachments ||
      form->body.view() != decoded->body.view())
    std::abort();
  return 0;
}
