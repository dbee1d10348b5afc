#include "launchservices/BundleInfo.h"

#include <unix/Files.h>
#include <unix/PropertyList.h>

#include <algorithm>
#include <cctype>

namespace coreservices {

namespace {

std::string baseName(const std::string& path) {
  auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string parentOf(const std::string& path) {
  auto slash = path.find_last_of('/');
  if (slash == std::string::npos)
    return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

bool equalIgnoringCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

bool endsWithIgnoringCase(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() &&
         equalIgnoringCase(text.substr(text.size() - suffix.size()), suffix);
}

std::optional<OSType> fourCharCode(const std::string& text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if ((c == 0xC2 || c == 0xC3) && i + 1 < text.size()) {
      bytes.push_back(static_cast<char>(((c & 0x03) << 6) | (text[++i] & 0x3F)));
    } else {
      bytes.push_back(static_cast<char>(c));
    }
  }
  if (bytes.size() != 4)
    return std::nullopt;
  OSType code = 0;
  for (char c : bytes)
    code = (code << 8) | static_cast<unsigned char>(c);
  return code;
}

std::optional<BundleInfo> readBundleInfo(const std::string& path) {
  if (!os::isFolder(path))
    return std::nullopt;
  BundleInfo info;
  info.path = path;

  char codes[8];
  if (os::readFirstBytes(path + "/Contents/PkgInfo", codes, sizeof codes)) {
    info.hasPkgInfo = true;
    info.packageType = *fourCharCode(std::string(codes, 4));
    info.signature = *fourCharCode(std::string(codes + 4, 4));
  }

  if (auto plist = os::PropertyList::readDictionary(path + "/Contents/Info.plist")) {
    info.hasInfoPlist = true;
    if (auto type = plist->string("CFBundlePackageType"); type && fourCharCode(*type))
      info.packageType = *fourCharCode(*type);
    if (auto sig = plist->string("CFBundleSignature"); sig && fourCharCode(*sig))
      info.signature = *fourCharCode(*sig);
    info.identifier = plist->string("CFBundleIdentifier").value_or("");
    info.executableName = plist->string("CFBundleExecutable").value_or("");
  }
  if (info.executableName.empty() || info.executableName.find('/') != std::string::npos) {
    std::string name = baseName(path);
    if (endsWithIgnoringCase(name, ".app"))
      name.resize(name.size() - 4);
    info.executableName = name;
  }
  return info;
}

std::optional<std::string> bundleOfExecutable(const std::string& executablePath) {
  std::string macOS = parentOf(executablePath);
  std::string contents = parentOf(macOS);
  std::string bundle = parentOf(contents);
  if (baseName(macOS) != "MacOS" || baseName(contents) != "Contents" ||
      !endsWithIgnoringCase(bundle, ".app"))
    return std::nullopt;
  return bundle;
}

} // namespace coreservices
