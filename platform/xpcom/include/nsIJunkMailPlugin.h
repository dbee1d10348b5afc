// The junk-mail plug-in interface lives with the filter plug-in interface it derives from.
#pragma once

#include "nsIMsgFilterPlugin.h"
