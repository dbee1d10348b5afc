// A stream of bytes read by its consumer.
#pragma once

#include "nsISupports.h"

class nsIInputStream;

typedef nsresult (*nsWriteSegmentFun)(nsIInputStream* aInStream, void* aClosure,
                                      const char* aFromSegment, PRUint32 aToOffset, PRUint32 aCount,
                                      PRUint32* aWriteCount);

#define NS_IINPUTSTREAM_IID_STR "fa9c7f6c-61b3-11d4-9877-00c04fa0cf4a"
#define NS_IINPUTSTREAM_IID                                                                        \
  {                                                                                                \
    0xfa9c7f6c, 0x61b3, 0x11d4, {                                                                  \
      0x98, 0x77, 0x00, 0xc0, 0x4f, 0xa0, 0xcf, 0x4a                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIInputStream : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IINPUTSTREAM_IID)

  /* 3 */ NS_IMETHOD Close(void) = 0;
  /* 4 */ NS_IMETHOD Available(PRUint32* _retval) = 0;
  /* 5 */ NS_IMETHOD Read(char* aBuf, PRUint32 aCount, PRUint32* _retval) = 0;
  /* 6 */ NS_IMETHOD ReadSegments(nsWriteSegmentFun aWriter, void* aClosure, PRUint32 aCount,
                                  PRUint32* _retval) = 0;
  /* 7 */ NS_IMETHOD IsNonBlocking(PRBool* _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIInputStream, NS_IINPUTSTREAM_IID)
