/* Notices to the user. */
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

/* Alert levels (the low bits of the flags) and flag bits, in one enumeration so that C++ code
   can combine them without mixing enumeration types. */
enum {
  kCFUserNotificationStopAlertLevel = 0,
  kCFUserNotificationNoteAlertLevel = 1,
  kCFUserNotificationCautionAlertLevel = 2,
  kCFUserNotificationPlainAlertLevel = 3,
  kCFUserNotificationNoDefaultButtonFlag = (1 << 5),
  kCFUserNotificationUseRadioButtonsFlag = (1 << 6)
};

enum {
  kCFUserNotificationDefaultResponse = 0,
  kCFUserNotificationAlternateResponse = 1,
  kCFUserNotificationOtherResponse = 2,
  kCFUserNotificationCancelResponse = 3
};

/* Shows a notice that needs no answer and returns at once (0 on success). The notice always
   goes to stderr as one line; on a desktop session it also appears as a desktop notification.
   When the environment variable CF_USER_NOTIFICATION_LOG names a file, the notice is appended
   to it as one JSON line {"title":...,"message":...,"flags":N,"timeout":T}. */
CF_EXPORT SInt32 CFUserNotificationDisplayNotice(CFTimeInterval timeout, CFOptionFlags flags,
                                                 CFURLRef iconURL, CFURLRef soundURL,
                                                 CFURLRef localizationURL, CFStringRef alertHeader,
                                                 CFStringRef alertMessage,
                                                 CFStringRef defaultButtonTitle);

CF_EXTERN_C_END
