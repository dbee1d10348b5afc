/* Launch Services: finding and launching applications. */
#pragma once

#include <CoreServices/LaunchServices/LSInfo.h>
#include <CoreServices/LaunchServices/LSOpen.h>
