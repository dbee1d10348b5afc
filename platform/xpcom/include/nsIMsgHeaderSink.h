// The header sink is declared with the MIME status interfaces.
#ifndef nsIMsgHeaderSink_h__
#define nsIMsgHeaderSink_h__

#include "nsIMimeMiscStatus.h"

#endif
