// A URI with a path, a file name and a query.
#pragma once

#include "nsIURI.h"

#define NS_IURL_IID_STR "d6116970-8034-11d3-9399-00104ba0fd40"
#define NS_IURL_IID                                                                                \
  {                                                                                                \
    0xd6116970, 0x8034, 0x11d3, {                                                                  \
      0x93, 0x99, 0x00, 0x10, 0x4b, 0xa0, 0xfd, 0x40                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIURL : public nsIURI {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IURL_IID)

  /* 29 */ NS_IMETHOD GetFilePath(nsACString& aFilePath) = 0;
  /* 30 */ NS_IMETHOD SetFilePath(const nsACString& aFilePath) = 0;
  /* 31 */ NS_IMETHOD GetParam(nsACString& aParam) = 0;
  /* 32 */ NS_IMETHOD SetParam(const nsACString& aParam) = 0;
  /* 33 */ NS_IMETHOD GetQuery(nsACString& aQuery) = 0;
  /* 34 */ NS_IMETHOD SetQuery(const nsACString& aQuery) = 0;
  /* 35 */ NS_IMETHOD GetRef(nsACString& aRef) = 0;
  /* 36 */ NS_IMETHOD SetRef(const nsACString& aRef) = 0;
  /* 37 */ NS_IMETHOD GetDirectory(nsACString& aDirectory) = 0;
  /* 38 */ NS_IMETHOD SetDirectory(const nsACString& aDirectory) = 0;
  /* 39 */ NS_IMETHOD GetFileName(nsACString& aFileName) = 0;
  /* 40 */ NS_IMETHOD SetFileName(const nsACString& aFileName) = 0;
  /* 41 */ NS_IMETHOD GetFileBaseName(nsACString& aFileBaseName) = 0;
  /* 42 */ NS_IMETHOD SetFileBaseName(const nsACString& aFileBaseName) = 0;
  /* 43 */ NS_IMETHOD GetFileExtension(nsACString& aFileExtension) = 0;
  /* 44 */ NS_IMETHOD SetFileExtension(const nsACString& aFileExtension) = 0;
  /* 45 */ NS_IMETHOD GetCommonBaseSpec(nsIURI* aURIToCompare, nsACString& _retval) = 0;
  /* 46 */ NS_IMETHOD GetRelativeSpec(nsIURI* aURIToCompare, nsACString& _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIURL, NS_IURL_IID)
