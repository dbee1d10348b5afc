#include <CoreFoundation/CoreFoundation.h>
