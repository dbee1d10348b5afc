/* Per-application preferences, stored as property list files in
   <home>/Library/Preferences/<applicationID>.plist (home: $CFFIXED_USER_HOME, else the
   password entry's home, else $HOME). */
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

CF_EXPORT const CFStringRef kCFPreferencesAnyApplication;
CF_EXPORT const CFStringRef kCFPreferencesCurrentApplication;
CF_EXPORT const CFStringRef kCFPreferencesAnyHost;
CF_EXPORT const CFStringRef kCFPreferencesCurrentHost;
CF_EXPORT const CFStringRef kCFPreferencesAnyUser;
CF_EXPORT const CFStringRef kCFPreferencesCurrentUser;

/* 0 and *keyExistsAndHasValidFormat false when the key is missing or not an integer (an integer
   number, or a string holding nothing but an optionally signed decimal integer). */
CF_EXPORT CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef applicationID,
                                                  Boolean* keyExistsAndHasValidFormat);
/* value NULL removes the key. Changes are written by CFPreferencesAppSynchronize. */
CF_EXPORT void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value,
                                        CFStringRef applicationID);
CF_EXPORT Boolean CFPreferencesAppSynchronize(CFStringRef applicationID);

CF_EXTERN_C_END
