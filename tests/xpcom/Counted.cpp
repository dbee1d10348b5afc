#include "Counted.h"

NS_IMPL_ISUPPORTS1(Counted, nsIFactory)
