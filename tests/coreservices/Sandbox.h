// A private world for one test: a temporary folder standing in for the runtime folder, the home
// folder and the system root, application bundles made on demand, and every application
// launched into it stopped at the end.
#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <CoreServices/AE/AEMach.h>
#include <CoreServices/LaunchServices/LaunchServices.h>

#include <gtest/gtest.h>

#include <string>
#include <sys/types.h>
#include <vector>

namespace cstest {

constexpr OSType code(const char (&text)[5]) {
  return (OSType(static_cast<unsigned char>(text[0])) << 24) |
         (OSType(static_cast<unsigned char>(text[1])) << 16) |
         (OSType(static_cast<unsigned char>(text[2])) << 8) |
         OSType(static_cast<unsigned char>(text[3]));
}

// The code whose characters are text's 4 bytes.
OSType codeOf(const std::string& text);

enum class Executable { servedApp, exitsAtOnce, missing, notExecutable };

struct BundleLayout {
  std::string signature = "Tst1";
  std::string packageType = "APPL";
  std::string identifier = "org.example.tester";
  bool infoPlist = true;
  bool pkgInfo = false;
  Executable executable = Executable::servedApp;
};

class SandboxTest : public ::testing::Test {
protected:
  void SetUp() override;
  void TearDown() override;

  // Makes folder/name (creating folder) and returns the bundle's path.
  std::string makeBundle(const std::string& folder, const std::string& name,
                         const BundleLayout& layout = {});
  // LSOpenFromURLSpec on a path, with the given flags.
  OSStatus open(const std::string& path, LSLaunchFlags flags = kLSLaunchDontSwitch);
  // A bundle made in <root>/Applications and launched; returns its pid.
  pid_t launchServedApp(const std::string& signature);

  std::vector<pid_t> runningApps() const;

  std::string mRoot;
  std::string mHome;
  std::string mSystemRoot;
  std::string mRuntime;
};

// An Apple Event of class 'TEST' addressed by signature (the bytes in order).
AppleEvent testEvent(const char* id, const std::string& signature);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes, mode_t mode = 0644);
std::vector<std::string> openDescriptors();

} // namespace cstest
