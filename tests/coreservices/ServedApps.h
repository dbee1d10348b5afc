// The world of the Core Services tests: a sandbox entered in this process, where bundles of
// ServedTestApp (which serves events of class 'TEST') are made and launched.
#pragma once

#include "Sandbox.h"
#include <ApplicationServices/ApplicationServices.h>
#include <CoreServices/AE/AEMach.h>

#include <unix/Registry.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace cstest {

using namespace sandbox;

inline BundleShape served(const std::string& signature = "Tst1") {
  return {.signature = signature,
          .identifier = "org.example.tester",
          .executableName = "tester",
          .executable = Executable::servedApp};
}

class SandboxTest : public ::testing::Test {
protected:
  SandboxTest() {
    box.enterInThisProcess();
    setenv("AE_DEFAULT_TIMEOUT_TICKS", "600", 1);
  }

  // Launched from the system's Applications folder; returns its pid.
  pid_t launchServedApp(const std::string& signature) {
    EXPECT_EQ(
        launch(makeBundle(box.systemRoot / "Applications", signature + ".app", served(signature))),
        noErr);
    auto entry = os::findLiveEntryBySignature(codeOf(signature));
    EXPECT_TRUE(entry) << "no application with signature " << signature << " registered";
    return entry ? entry->pid : 0;
  }

  Sandbox box;
};

// An Apple Event of class 'TEST' addressed by signature.
inline AppleEvent testEvent(const char* id, const std::string& signature) {
  AppleEvent event{typeNull, nullptr};
  AEAddressDesc target;
  OSType signatureCode = codeOf(signature);
  AECreateDesc(typeApplSignature, &signatureCode, sizeof signatureCode, &target);
  AECreateAppleEvent(FOUR_CHAR_CODE("TEST"), codeOf(id), &target, kAutoGenerateReturnID,
                     kAnyTransactionID, &event);
  AEDisposeDesc(&target);
  return event;
}

} // namespace cstest
