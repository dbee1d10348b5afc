/* Everything of Core Services that this platform provides. */
#pragma once

#if __has_include(<CoreFoundation/CoreFoundation.h>)
#include <CoreFoundation/CoreFoundation.h>
#endif
#include <CoreServices/AE/AEDataModel.h>
#include <CoreServices/AE/AEHelpers.h>
#include <CoreServices/AE/AEMach.h>
#include <CoreServices/AE/AEServer.h>
#include <CoreServices/AE/AppleEvents.h>
#include <CoreServices/CarbonCore/Files.h>
#include <CoreServices/LaunchServices/LaunchServices.h>
#include <CoreServices/MacErrors.h>
#include <MacTypes.h>
