#include <CoreServices/LaunchServices/LSInfo.h>

#include "launchservices/ApplicationFolders.h"
#include "launchservices/BundleInfo.h"
#include "launchservices/CFStrings.h"
#include "launchservices/FileReference.h"

#include <unix/Files.h>

#include <algorithm>

using namespace coreservices;

namespace {

struct Criteria {
  OSType creator = kLSUnknownCreator;
  std::optional<std::string> bundleID;
  std::optional<std::string> name;
};

bool matches(const std::string& fileName, const BundleInfo& info, const Criteria& wanted) {
  if (wanted.creator != kLSUnknownCreator && info.signature != wanted.creator)
    return false;
  if (wanted.bundleID && !equalIgnoringCase(info.identifier, *wanted.bundleID))
    return false;
  if (wanted.name && !equalIgnoringCase(fileName, *wanted.name))
    return false;
  return true;
}

std::optional<std::string> findIn(const std::string& folder, const Criteria& wanted) {
  std::vector<std::string> bundles;
  for (auto& name : os::folderEntries(folder))
    if (name.size() > 4 && endsWithIgnoringCase(name, ".app"))
      bundles.push_back(name);
  std::sort(bundles.begin(), bundles.end());
  for (auto& name : bundles) {
    auto info = readBundleInfo(folder + "/" + name);
    if (info && matches(name, *info, wanted))
      return info->path;
  }
  return std::nullopt;
}

} // namespace

extern "C" OSStatus LSFindApplicationForInfo(OSType inCreator, CFStringRef inBundleID,
                                             CFStringRef inName, FSRef* outAppRef,
                                             CFURLRef* outAppURL) {
  if (outAppURL)
    *outAppURL = nullptr;
  Criteria wanted{inCreator, utf8String(inBundleID), utf8String(inName)};
  if (wanted.creator == kLSUnknownCreator && !wanted.bundleID && !wanted.name)
    return paramErr;
  for (auto& folder : applicationSearchFolders()) {
    auto found = findIn(folder, wanted);
    if (!found)
      continue;
    if (outAppRef)
      makeFileReference(*found, outAppRef);
    if (outAppURL) {
      *outAppURL = fileURL(*found, true);
      if (!*outAppURL)
        return memFullErr;
    }
    return noErr;
  }
  return kLSApplicationNotFoundErr;
}
