// The codes of the conversation between the junk-mail plug-in and Quellbark, defined once for
// both ends. Codes only: how events are built, sent and answered belongs to each end.
#pragma once

#include <MacTypes.h>

// Quellbark's creator signature, by which it is addressed; also the class of its events.
inline constexpr OSType kQuellbarkSignature = FOUR_CHAR_CODE("Qbrk");
inline constexpr OSType kQuellbarkEventClass = kQuellbarkSignature;

// The events: score a message, learn it as spam, learn it as good.
inline constexpr OSType kQuellbarkScoreEvent = FOUR_CHAR_CODE("Qscr");
inline constexpr OSType kQuellbarkTrainSpamEvent = FOUR_CHAR_CODE("addS");
inline constexpr OSType kQuellbarkTrainGoodEvent = FOUR_CHAR_CODE("addG");

// Their parameters: the message bytes, the two flags (decode the message, treat it as RFC 822)
// and the separator.
inline constexpr OSType kQuellbarkMessageParam = FOUR_CHAR_CODE("Mess");
inline constexpr OSType kQuellbarkDecodedParam = FOUR_CHAR_CODE("bDec");
inline constexpr OSType kQuellbarkRFC822Param = FOUR_CHAR_CODE("bRFC");
inline constexpr OSType kQuellbarkSeparatorParam = FOUR_CHAR_CODE("sSEP");
