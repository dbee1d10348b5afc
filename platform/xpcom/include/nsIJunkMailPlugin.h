// The junk-mail plug-in interface lives with the filter plug-in interface it derives from.
#ifndef nsIJunkMailPlugin_h__
#define nsIJunkMailPlugin_h__

#include "nsIMsgFilterPlugin.h"

#endif
