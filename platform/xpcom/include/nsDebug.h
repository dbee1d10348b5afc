// Early returns for failed results and bad arguments. They say nothing: a caller that wants a
// failure reported reports it itself.
#pragma once

#include "nsError.h"

#define NS_ENSURE_TRUE(x, ret)                                                                     \
  do {                                                                                             \
    if (!(x))                                                                                      \
      return ret;                                                                                  \
  } while (0)

#define NS_ENSURE_FALSE(x, ret) NS_ENSURE_TRUE(!(x), ret)

#define NS_ENSURE_SUCCESS(res, ret) NS_ENSURE_TRUE(NS_SUCCEEDED(res), ret)

#define NS_ENSURE_ARG(arg) NS_ENSURE_TRUE(arg, NS_ERROR_INVALID_ARG)
#define NS_ENSURE_ARG_POINTER(arg) NS_ENSURE_TRUE(arg, NS_ERROR_INVALID_POINTER)
