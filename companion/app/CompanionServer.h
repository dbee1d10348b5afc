// The Apple Event handlers that answer the plug-in's score and learn events with the engine.
#pragma once

#include "Engine.h"

#include <CoreServices/CoreServices.h>

namespace quellbark {

// Answers the plug-in's events with the engine. A successful score reply holds the score as
// 'shor' in the direct object and no 'errn'; a failed one holds a non-zero 'errn' (and the
// reason in 'errs'). Learn replies hold nothing but a failure's 'errn'.
class CompanionServer {
public:
  explicit CompanionServer(Engine& engine) : mEngine(engine) {}

  // Installs the handlers for 'Qscr', 'addS', 'addG' and the standard quit event.
  OSErr install();

  OSErr score(const AppleEvent& event, AppleEvent& reply);
  OSErr learn(Verdict verdict, const AppleEvent& event, AppleEvent& reply);

private:
  Engine& mEngine;
};

} // namespace quellbark
