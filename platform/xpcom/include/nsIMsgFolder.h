// A mail folder. Only named by other interfaces here, never used: forward declaration only.
#ifndef __gen_nsIMsgFolder_h__
#define __gen_nsIMsgFolder_h__

#include "nsISupports.h"

class nsIMsgFolder;

#endif
