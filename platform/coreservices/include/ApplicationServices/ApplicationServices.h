/* Application Services: the Process Manager and Core Services. */
#pragma once

#include <ApplicationServices/HIServices/Processes.h>
#include <CoreServices/CoreServices.h>
