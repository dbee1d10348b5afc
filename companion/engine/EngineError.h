// The engine's error numbers, sent to the client as a reply's 'errn'.
#pragma once

#include <cstdint>

namespace quellbark {

// The numbers travel to the client as the reply's 'errn', so they are part of the protocol:
// never renumber them. Positive on purpose, so they never collide with a Mac OS error number.
enum class EngineError : std::int16_t {
  none = 0,
  engineMissing = 1,      // bogofilter or bogoutil cannot be found or started
  engineFailed = 2,       // the engine exited, crashed, hung or answered nonsense
  wordListLocked = 3,     // another process holds the word list
  wordListUnusable = 4,   // the data folder or the word list cannot be created or read
  workFolderUnusable = 5, // the private folder for message files cannot be used
};

const char* describe(EngineError error);

} // namespace quellbark
