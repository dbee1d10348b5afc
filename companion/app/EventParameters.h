// Reading the message and its form out of a score or learn event.
#pragma once

#include "MessageForm.h"

#include <CoreServices/CoreServices.h>
#include <string>

namespace quellbark {

struct MessageRequest {
  OSErr error = noErr; // an Apple Event Manager error when a parameter cannot be read
  std::string bytes;   // 'Mess'
  MessageForm form;    // 'bDec', 'bRFC' (true when absent) and 'sSEP' (empty when absent)
};

// Reads the message and its form from a score or learn event. 'Mess' may be of any size and
// any type: its bytes are taken as they are, except Unicode text, which is read as UTF-8.
MessageRequest readMessageRequest(const AppleEvent& event);

} // namespace quellbark
