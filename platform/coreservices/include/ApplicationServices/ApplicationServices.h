#ifndef APPLICATIONSERVICES_APPLICATIONSERVICES_H
#define APPLICATIONSERVICES_APPLICATIONSERVICES_H

#include <ApplicationServices/HIServices/Processes.h>
#include <CoreServices/CoreServices.h>

#endif
