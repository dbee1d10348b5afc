#include <ApplicationServices/HIServices/Processes.h>

#include <CoreServices/MacErrors.h>

#include "launchservices/FileReference.h"
#include "transport/SelfIdentity.h"
#include "transport/SerialNumber.h"
#include <unix/ProcessTable.h>
#include <unix/ThisProcess.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <unistd.h>

using namespace coreservices;

namespace {

constexpr UInt32 kClassicRecordLength = 60;
constexpr OSType kApplicationType = 0x4150504C; // 'APPL'

bool operator<(const ProcessSerialNumber& a, const ProcessSerialNumber& b) {
  return a.highLongOfPSN != b.highLongOfPSN ? a.highLongOfPSN < b.highLongOfPSN
                                            : a.lowLongOfPSN < b.lowLongOfPSN;
}

bool same(const ProcessSerialNumber& a, const ProcessSerialNumber& b) {
  return a.highLongOfPSN == b.highLongOfPSN && a.lowLongOfPSN == b.lowLongOfPSN;
}

bool isCurrent(const ProcessSerialNumber& psn) {
  return psn.highLongOfPSN == 0 && psn.lowLongOfPSN == kCurrentProcess;
}

ProcessSerialNumber ownSerialNumber() {
  return serialNumberFor(os::thisProcessID(),
                         os::processStartTime(os::thisProcessID()).value_or(0));
}

ProcessSerialNumber resolved(const ProcessSerialNumber& psn) {
  return isCurrent(psn) ? ownSerialNumber() : psn;
}

// The registered application, or for this process its own description even when unregistered.
std::optional<os::RegistryEntry> describe(const ProcessSerialNumber& given) {
  ProcessSerialNumber psn = resolved(given);
  os::LiveEntries entries = os::liveEntries();
  for (auto& entry : *entries)
    if (same(serialNumberOf(entry), psn))
      return entry;
  if (same(psn, ownSerialNumber()))
    return identifyThisProcess();
  return std::nullopt;
}

template <typename Field>
bool fits(const ProcessInfoRec* info, std::size_t offset) {
  return offset + sizeof(Field) <= info->processInfoLength;
}

} // namespace

extern "C" OSErr GetNextProcess(ProcessSerialNumber* PSN) {
  if (!PSN)
    return paramErr;
  ProcessSerialNumber after = resolved(*PSN);
  bool fromStart = after.highLongOfPSN == 0 && after.lowLongOfPSN == kNoProcess;
  std::optional<ProcessSerialNumber> next;
  os::LiveEntries entries = os::liveEntries();
  for (auto& entry : *entries) {
    ProcessSerialNumber candidate = serialNumberOf(entry);
    if ((fromStart || after < candidate) && (!next || candidate < *next))
      next = candidate;
  }
  if (!next) {
    *PSN = {0, kNoProcess};
    return procNotFound;
  }
  *PSN = *next;
  return noErr;
}

extern "C" OSErr GetProcessInformation(const ProcessSerialNumber* PSN, ProcessInfoRec* info) {
  if (!PSN || !info || info->processInfoLength < kClassicRecordLength)
    return paramErr;
  auto entry = describe(*PSN);
  if (!entry)
    return procNotFound;

  if (info->processName) {
    std::string name = entry->name.substr(0, 31);
    info->processName[0] = static_cast<unsigned char>(name.size());
    std::memcpy(info->processName + 1, name.data(), name.size());
  }
  info->processNumber = serialNumberOf(*entry);
  info->processType = kApplicationType;
  info->processSignature = entry->signature;
  info->processMode = modeCanBackground | mode32BitCompatible | modeHighLevelEventAware;
  info->processLocation = nullptr;
  info->processSize = 0;
  info->processFreeMem = 0;
  info->processLauncher = {0, kNoProcess};
  info->processLaunchDate = os::startTimeInSixtieths(entry->startTime);
  if (fits<UInt32>(info, offsetof(ProcessInfoRec, processActiveTime)))
    info->processActiveTime = 0;
  if (fits<FSRefPtr>(info, offsetof(ProcessInfoRec, processAppRef)) && info->processAppRef)
    makeFileReference(entry->bundlePath.empty() ? entry->name : entry->bundlePath,
                      info->processAppRef);
  return noErr;
}

extern "C" OSErr GetCurrentProcess(ProcessSerialNumber* PSN) {
  if (!PSN)
    return paramErr;
  *PSN = ownSerialNumber();
  return noErr;
}

extern "C" OSErr SameProcess(const ProcessSerialNumber* PSN1, const ProcessSerialNumber* PSN2,
                             Boolean* result) {
  if (!PSN1 || !PSN2 || !result)
    return paramErr;
  *result = same(resolved(*PSN1), resolved(*PSN2)) ? 1 : 0;
  return noErr;
}

extern "C" OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) {
  if (!psn || !pid)
    return paramErr;
  ProcessSerialNumber wanted = resolved(*psn);
  auto candidate = static_cast<pid_t>(wanted.lowLongOfPSN);
  auto start = os::processStartTime(candidate);
  if (wanted.highLongOfPSN == 0 || !start || !same(serialNumberFor(candidate, *start), wanted))
    return procNotFound;
  *pid = candidate;
  return noErr;
}

extern "C" OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* psn) {
  if (!psn)
    return paramErr;
  auto start = os::processStartTime(pid);
  if (!start)
    return procNotFound;
  *psn = serialNumberFor(pid, *start);
  return noErr;
}

extern "C" OSStatus CopyProcessName(const ProcessSerialNumber* psn, CFStringRef* name) {
  if (!psn || !name)
    return paramErr;
  auto entry = describe(*psn);
  if (!entry)
    return procNotFound;
  *name =
      CFStringCreateWithCString(kCFAllocatorDefault, entry->name.c_str(), kCFStringEncodingUTF8);
  return *name ? noErr : memFullErr;
}
