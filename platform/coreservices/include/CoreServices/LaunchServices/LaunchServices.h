#ifndef CORESERVICES_LAUNCHSERVICES_LAUNCHSERVICES_H
#define CORESERVICES_LAUNCHSERVICES_LAUNCHSERVICES_H

#include <CoreServices/LaunchServices/LSInfo.h>
#include <CoreServices/LaunchServices/LSOpen.h>

#endif
