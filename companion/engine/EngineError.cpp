#include "EngineError.h"

namespace quellbark {

const char* describe(EngineError error) {
  switch (error) {
  case EngineError::none:
    return "no error";
  case EngineError::engineMissing:
    return "the spam engine (bogofilter) is missing";
  case EngineError::engineFailed:
    return "the spam engine failed";
  case EngineError::wordListLocked:
    return "the word list is locked by another process";
  case EngineError::wordListUnusable:
    return "the word list cannot be used";
  case EngineError::workFolderUnusable:
    return "the private work folder cannot be used";
  }
  return "unknown error";
}

} // namespace quellbark
