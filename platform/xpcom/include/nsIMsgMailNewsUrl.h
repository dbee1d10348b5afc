// A mail or news URL (slots 47-83, after nsIURL).
#pragma once

#include "nsIURL.h"

class nsIUrlListener;
class nsIMsgIncomingServer;
class nsIMsgFolder;
class nsIMsgStatusFeedback;
class nsIMsgWindow;
class nsIMimeHeaders;
class nsILoadGroup;
class nsIMsgSearchSession;
class nsICacheEntryDescriptor;
class nsICacheSession;
class nsIFileSpec;
class nsIStreamListener;
class nsIMsgHeaderSink;

#define NS_IMSGMAILNEWSURL_IID_STR "6cffceb0-cb8c-11d2-8065-006008128c4e"
#define NS_IMSGMAILNEWSURL_IID                                                                     \
  {                                                                                                \
    0x6cffceb0, 0xcb8c, 0x11d2, {                                                                  \
      0x80, 0x65, 0x00, 0x60, 0x08, 0x12, 0x8c, 0x4e                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIMsgMailNewsUrl : public nsIURL {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IMSGMAILNEWSURL_IID)

  /* 47 */ NS_IMETHOD RegisterListener(nsIUrlListener* aUrlListener) = 0;
  /* 48 */ NS_IMETHOD UnRegisterListener(nsIUrlListener* aUrlListener) = 0;
  /* 49 */ NS_IMETHOD GetBaseURI(nsIURI** aBaseURI) = 0;
  /* 50 */ NS_IMETHOD GetErrorMessage(char** aErrorMessage) = 0;
  /* 51 */ NS_IMETHOD SetErrorMessage(const char* aErrorMessage) = 0;
  /* 52 */ NS_IMETHOD SetUrlState(PRBool runningUrl, nsresult aStatusCode) = 0;
  /* 53 */ NS_IMETHOD GetUrlState(PRBool* _retval) = 0;
  /* 54 */ NS_IMETHOD GetServer(nsIMsgIncomingServer** aServer) = 0;
  /* 55 */ NS_IMETHOD GetFolder(nsIMsgFolder** aFolder) = 0;
  /* 56 */ NS_IMETHOD SetFolder(nsIMsgFolder* aFolder) = 0;
  /* 57 */ NS_IMETHOD GetStatusFeedback(nsIMsgStatusFeedback** aStatusFeedback) = 0;
  /* 58 */ NS_IMETHOD SetStatusFeedback(nsIMsgStatusFeedback* aStatusFeedback) = 0;
  /* 59 */ NS_IMETHOD GetMsgWindow(nsIMsgWindow** aMsgWindow) = 0;
  /* 60 */ NS_IMETHOD SetMsgWindow(nsIMsgWindow* aMsgWindow) = 0;
  /* 61 */ NS_IMETHOD GetMimeHeaders(nsIMimeHeaders** aMimeHeaders) = 0;
  /* 62 */ NS_IMETHOD SetMimeHeaders(nsIMimeHeaders* aMimeHeaders) = 0;
  /* 63 */ NS_IMETHOD GetLoadGroup(nsILoadGroup** aLoadGroup) = 0;
  /* 64 */ NS_IMETHOD GetSearchSession(nsIMsgSearchSession** aSearchSession) = 0;
  /* 65 */ NS_IMETHOD SetSearchSession(nsIMsgSearchSession* aSearchSession) = 0;
  /* 66 */ NS_IMETHOD GetUpdatingFolder(PRBool* aUpdatingFolder) = 0;
  /* 67 */ NS_IMETHOD SetUpdatingFolder(PRBool aUpdatingFolder) = 0;
  /* 68 */ NS_IMETHOD GetAddToMemoryCache(PRBool* aAddToMemoryCache) = 0;
  /* 69 */ NS_IMETHOD SetAddToMemoryCache(PRBool aAddToMemoryCache) = 0;
  /* 70 */ NS_IMETHOD GetMsgIsInLocalCache(PRBool* aMsgIsInLocalCache) = 0;
  /* 71 */ NS_IMETHOD SetMsgIsInLocalCache(PRBool aMsgIsInLocalCache) = 0;
  /* 72 */ NS_IMETHOD GetSuppressErrorMsgs(PRBool* aSuppressErrorMsgs) = 0;
  /* 73 */ NS_IMETHOD SetSuppressErrorMsgs(PRBool aSuppressErrorMsgs) = 0;
  /* 74 */ NS_IMETHOD GetMemCacheEntry(nsICacheEntryDescriptor** aMemCacheEntry) = 0;
  /* 75 */ NS_IMETHOD SetMemCacheEntry(nsICacheEntryDescriptor* aMemCacheEntry) = 0;
  /* 76 */ NS_IMETHOD GetImageCacheSession(nsICacheSession** aImageCacheSession) = 0;
  /* 77 */ NS_IMETHOD SetImageCacheSession(nsICacheSession* aImageCacheSession) = 0;
  /* 78 */ NS_IMETHOD CacheCacheEntry(nsICacheEntryDescriptor* cacheEntry) = 0;
  /* 79 */ NS_IMETHOD RemoveCacheEntry(nsICacheEntryDescriptor* cacheEntry) = 0;
  /* 80 */ NS_IMETHOD IsUrlType(PRUint32 type, PRBool* _retval) = 0;
  /* 81 */ NS_IMETHOD GetSaveAsListener(PRBool addDummyEnvelope, nsIFileSpec* aFile,
                                        nsIStreamListener** _retval) = 0;
  /* 82 */ NS_IMETHOD GetMsgHeaderSink(nsIMsgHeaderSink** aMsgHeaderSink) = 0;
  /* 83 */ NS_IMETHOD SetMsgHeaderSink(nsIMsgHeaderSink* aMsgHeaderSink) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIMsgMailNewsUrl, NS_IMSGMAILNEWSURL_IID)
