/* The Process Manager: the running applications that take Apple Events (those registered in the
   runtime folder, see CoreServices/AE/AEServer.h), named by process serial numbers.

   A serial number is {start time of the process in clock ticks since boot (never 0), pid}: it
   stays the same while the process lives and never names a later process that reuses the pid.
   {0, kCurrentProcess} is the calling process. */
#pragma once

#include <CoreFoundation/CFString.h>
#include <CoreServices/CarbonCore/Files.h>
#include <MacTypes.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kNoProcess = 0, kSystemProcess = 1, kCurrentProcess = 2 };

/* processMode flags */
enum {
  modeReserved = 0x01000000,
  modeControlPanel = 0x00080000,
  modeLaunchDontSwitch = 0x00040000,
  modeDeskAccessory = 0x00020000,
  modeMultiLaunch = 0x00010000,
  modeNeedSuspendResume = 0x00004000,
  modeCanBackground = 0x00001000,
  modeDoesActivateOnFGSwitch = 0x00000800,
  modeOnlyBackground = 0x00000400,
  modeGetFrontClicks = 0x00000200,
  modeGetAppDiedMsg = 0x00000100,
  mode32BitCompatible = 0x00000080,
  modeHighLevelEventAware = 0x00000040,
  modeLocalAndRemoteHLEvents = 0x00000020,
  modeStationeryAware = 0x00000010,
  modeUseTextEditServices = 0x00000008,
  modeDisplayManagerAware = 0x00000004
};

#pragma pack(push, 2)
/* The 64-bit layout (72 bytes). The caller sets processInfoLength and points processName and
   processAppRef at storage or NULL. Fields that end beyond processInfoLength are left alone, so
   the classic 32-bit length 60 is accepted and fills everything up to processLaunchDate; a
   length below 60 is paramErr. */
typedef struct ProcessInfoRec {
  UInt32 processInfoLength;
  StringPtr processName; /* Str31: the executable's file name as a Pascal string */
  ProcessSerialNumber processNumber;
  UInt32 processType;      /* 'APPL' */
  OSType processSignature; /* the bundle's creator signature, '????' outside a bundle */
  UInt32 processMode;      /* modeCanBackground | mode32BitCompatible | modeHighLevelEventAware */
  Ptr processLocation;     /* NULL */
  UInt32 processSize;      /* 0 */
  UInt32 processFreeMem;   /* 0 */
  ProcessSerialNumber processLauncher; /* {0, kNoProcess} */
  UInt32 processLaunchDate;            /* start time in ticks (1/60 s) since boot */
  UInt32 processActiveTime;            /* 0 */
  FSRefPtr processAppRef;              /* the bundle (or executable) when not NULL */
} ProcessInfoRec;
#pragma pack(pop)
typedef ProcessInfoRec* ProcessInfoRecPtr;

/* {0, kNoProcess} starts the walk; after the last application the number becomes
   {0, kNoProcess} and the result is procNotFound. Applications come in launch order. */
OSErr GetNextProcess(ProcessSerialNumber* PSN);
OSErr GetProcessInformation(const ProcessSerialNumber* PSN, ProcessInfoRec* info);
OSErr GetCurrentProcess(ProcessSerialNumber* PSN);
OSErr SameProcess(const ProcessSerialNumber* PSN1, const ProcessSerialNumber* PSN2,
                  Boolean* result);
OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid);
OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* psn);
OSStatus CopyProcessName(const ProcessSerialNumber* psn, CFStringRef* name);

#ifdef __cplusplus
}
#endif
