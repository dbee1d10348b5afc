// Reading the message and its form out of a score or learn event.
#pragma once

#include "MessageForm.h"

#include <CoreServices/CoreServices.h>
#include <cstddef>
#include <memory>
#include <string_view>

namespace quellbark {

// A parameter's bytes, copied once and never zero-filled first (messages may be large).
struct ParameterBytes {
  std::unique_ptr<char[]> data;
  std::size_t size = 0;
  std::string_view view() const { return {data.get(), size}; }
};

struct MessageRequest {
  OSErr error = noErr;  // an Apple Event Manager error when a parameter cannot be read
  ParameterBytes bytes; // 'Mess'
  MessageForm form;     // 'bDec', 'bRFC' (true when absent) and 'sSEP' (empty when absent)
};

// Reads the message and its form from a score or learn event. 'Mess' may be of any size and
// any type: its bytes are taken as they are, except Unicode text, which is read as UTF-8.
MessageRequest readMessageRequest(const AppleEvent& event);

} // namespace quellbark
