// A mail folder. Only named by other interfaces here, never used: forward declaration only.
#pragma once

#include "nsISupports.h"

class nsIMsgFolder;
