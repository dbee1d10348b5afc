// What an application bundle says about itself: X.app/Contents/Info.plist (CFBundleSignature,
// CFBundlePackageType, CFBundleIdentifier, CFBundleExecutable) with Contents/PkgInfo (8 bytes:
// type then creator) as the fallback for the two codes.
#pragma once

#include <MacTypes.h>

#include <optional>
#include <string>

namespace coreservices {

constexpr OSType kUnknownSignature = 0x3F3F3F3F; // '????'

struct BundleInfo {
  std::string path; // the bundle folder, as given
  bool hasInfoPlist = false;
  bool hasPkgInfo = false;
  OSType packageType = 0;
  OSType signature = kUnknownSignature;
  std::string identifier;
  std::string executableName; // CFBundleExecutable, else the bundle's name without ".app"

  std::string executablePath() const { return path + "/Contents/MacOS/" + executableName; }
};

// Nothing when path is not a folder.
std::optional<BundleInfo> readBundleInfo(const std::string& path);

// The .app folder that holds an executable at <bundle>/Contents/MacOS/<name>; nothing otherwise.
std::optional<std::string> bundleOfExecutable(const std::string& executablePath);

// A four-character code from a 4-byte string (UTF-8 text of 4 Latin-1 characters is accepted).
std::optional<OSType> fourCharCode(const std::string& text);

bool endsWithIgnoringCase(const std::string& text, const std::string& suffix);
bool equalIgnoringCase(const std::string& a, const std::string& b);

} // namespace coreservices
