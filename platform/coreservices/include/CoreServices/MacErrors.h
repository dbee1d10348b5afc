/* Result codes of the Apple Event Manager, the Process Manager and Launch Services. */
#pragma once

#include <MacTypes.h>

/* Result codes of the Apple Event Manager, the Process Manager, the high-level event
   transport and Launch Services. noErr, paramErr and memFullErr come from MacTypes.h. */

enum {
  procNotFound = -600,
  noOutstandingHLE = -608,
  connectionInvalid = -609,
  noUserInteractionAllowed = -610,

  noPortErr = -903,
  destPortErr = -906,

  errAECoercionFail = -1700,
  errAEDescNotFound = -1701,
  errAECorruptData = -1702,
  errAEWrongDataType = -1703,
  errAENotAEDesc = -1704,
  errAEBadListItem = -1705,
  errAENotAppleEvent = -1707,
  errAEEventNotHandled = -1708,
  errAEReplyNotValid = -1709,
  errAEUnknownSendMode = -1710,
  errAEWaitCanceled = -1711,
  errAETimeout = -1712,
  errAENoUserInteraction = -1713,
  errAEParamMissed = -1715,
  errAEUnknownAddressType = -1716,
  errAEHandlerNotFound = -1717,
  errAEReplyNotArrived = -1718,
  errAEIllegalIndex = -1719,
  errAEDuplicateHandler = -1736,
  errAEDescIsNull = -1739,
  errAEBuildSyntaxError = -1740,
  errAEBufferTooSmall = -1741,

  kLSAppInTrashErr = -10660,
  kLSExecutableIncorrectFormat = -10661,
  kLSUnknownErr = -10810,
  kLSNotAnApplicationErr = -10811,
  kLSDataUnavailableErr = -10813,
  kLSApplicationNotFoundErr = -10814,
  kLSUnknownTypeErr = -10815,
  kLSLaunchInProgressErr = -10818,
  kLSServerCommunicationErr = -10822,
  kLSIncompatibleSystemVersionErr = -10825,
  kLSNoLaunchPermissionErr = -10826,
  kLSNoExecutableErr = -10827,
  kLSNoClassicEnvironmentErr = -10828,
  kLSMultipleSessionsNotSupportedErr = -10829
};
