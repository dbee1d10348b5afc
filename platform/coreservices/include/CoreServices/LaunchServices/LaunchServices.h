#pragma once

#include <CoreServices/LaunchServices/LSInfo.h>
#include <CoreServices/LaunchServices/LSOpen.h>
