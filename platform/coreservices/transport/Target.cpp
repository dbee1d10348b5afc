#include "transport/Target.h"

#include <unix/ProcessTable.h>
#include <unix/ThisProcess.h>

#include <cstring>
#include <unistd.h>
#include <vector>

namespace coreservices {

namespace {

OSStatus targetEntry(std::optional<os::RegistryEntry> found, Target& target) {
  if (!found)
    return procNotFound;
  if (found->pid == os::thisProcessID()) {
    target.inThisProcess = true;
    return noErr;
  }
  target.entry = std::move(*found);
  return noErr;
}

} // namespace

OSStatus resolveTarget(const AppleEvent* event, Target& target) {
  AEDesc address;
  AEInitializeDesc(&address);
  if (AEGetAttributeDesc(event, keyAddressAttr, typeWildCard, &address) != noErr)
    return errAEUnknownAddressType;
  Size size = AEGetDescDataSize(&address);
  std::vector<std::uint8_t> data(static_cast<std::size_t>(size > 0 ? size : 0));
  if (size > 0)
    AEGetDescData(&address, data.data(), size);
  DescType type = address.descriptorType;
  AEDisposeDesc(&address);

  switch (type) {
  case typeApplSignature: {
    // A signature is a four-character code, held in the host's byte order like every code.
    OSType signature = 0;
    if (data.size() != sizeof signature)
      return errAEUnknownAddressType;
    std::memcpy(&signature, data.data(), sizeof signature);
    return targetEntry(os::findLiveEntryBySignature(signature), target);
  }
  case typeKernelProcessID: {
    pid_t pid = 0;
    if (data.size() != sizeof pid)
      return errAEUnknownAddressType;
    std::memcpy(&pid, data.data(), sizeof pid);
    if (pid == os::thisProcessID()) {
      target.inThisProcess = true;
      return noErr;
    }
    return targetEntry(os::findLiveEntry(pid), target);
  }
  case typeProcessSerialNumber: {
    ProcessSerialNumber psn{};
    if (data.size() != sizeof psn)
      return errAEUnknownAddressType;
    std::memcpy(&psn, data.data(), sizeof psn);
    if (psn.highLongOfPSN == 0 && psn.lowLongOfPSN == 2 /* kCurrentProcess */) {
      target.inThisProcess = true;
      return noErr;
    }
    os::LiveEntries entries = os::liveEntries();
    for (auto& entry : *entries) {
      ProcessSerialNumber candidate = serialNumberOf(entry);
      if (candidate.highLongOfPSN == psn.highLongOfPSN &&
          candidate.lowLongOfPSN == psn.lowLongOfPSN)
        return targetEntry(entry, target);
    }
    if (auto own = os::processStartTime(os::thisProcessID())) {
      ProcessSerialNumber self = serialNumberFor(os::thisProcessID(), *own);
      if (self.highLongOfPSN == psn.highLongOfPSN && self.lowLongOfPSN == psn.lowLongOfPSN) {
        target.inThisProcess = true;
        return noErr;
      }
    }
    return procNotFound;
  }
  default:
    return errAEUnknownAddressType;
  }
}

} // namespace coreservices
