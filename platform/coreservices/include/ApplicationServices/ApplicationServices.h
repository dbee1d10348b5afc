#pragma once

#include <ApplicationServices/HIServices/Processes.h>
#include <CoreServices/CoreServices.h>
