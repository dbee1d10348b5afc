// The header sink that the host's MIME converter reports a message's headers to.
//
// The slot list is the nine-method one (eleven slots with nsISupports) that junk-mail plug-ins
// implement; the IID is the one the host of that period gives the interface. A host built from
// these headers and a plug-in built from them therefore agree exactly.
#pragma once

#include "nsISupports.h"

class nsIUTF8StringEnumerator;
class nsIMsgMailNewsUrl;
class nsIMsgDBHdr;

#define NS_IMSGHEADERSINK_IID_STR "c3c4473c-fe01-4afc-bf91-c811baebef63"
#define NS_IMSGHEADERSINK_IID                                                                      \
  {                                                                                                \
    0xc3c4473c, 0xfe01, 0x4afc, {                                                                  \
      0xbf, 0x91, 0xc8, 0x11, 0xba, 0xeb, 0xef, 0x63                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIMsgHeaderSink : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IMSGHEADERSINK_IID)

  /* 3 */ NS_IMETHOD ProcessHeaders(nsIUTF8StringEnumerator* aHeaderNames,
                                    nsIUTF8StringEnumerator* aHeaderValues,
                                    PRBool dontCollectAddress) = 0;
  /* 4 */ NS_IMETHOD HandleAttachment(const char* contentType, const char* url,
                                      const PRUnichar* displayName, const char* uri,
                                      PRBool aNotDownloaded) = 0;
  /* 5 */ NS_IMETHOD OnEndAllAttachments(void) = 0;
  /* 6 */ NS_IMETHOD OnEndMsgHeaders(nsIMsgMailNewsUrl* url) = 0;
  /* 7 */ NS_IMETHOD OnEndMsgDownload(nsIMsgMailNewsUrl* url) = 0;
  /* 8 */ NS_IMETHOD GetSecurityInfo(nsISupports** aSecurityInfo) = 0;
  /* 9 */ NS_IMETHOD SetSecurityInfo(nsISupports* aSecurityInfo) = 0;
  /* 10 */ NS_IMETHOD OnMsgHasRemoteContent(nsIMsgDBHdr* aMsgHdr) = 0;
  /* 11 */ NS_IMETHOD GetDummyMsgHeader(nsIMsgDBHdr** _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIMsgHeaderSink, NS_IMSGHEADERSINK_IID)
