// A file in the local file system (slots 48-64 after nsIFile).
#pragma once

#include <stdio.h>

#include "nsIFile.h"

struct PRFileDesc;
struct PRLibrary;

#define NS_ILOCALFILE_IID_STR "aa610f20-a889-11d3-8c81-000064657374"
#define NS_ILOCALFILE_IID                                                                          \
  {                                                                                                \
    0xaa610f20, 0xa889, 0x11d3, {                                                                  \
      0x8c, 0x81, 0x00, 0x00, 0x64, 0x65, 0x73, 0x74                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsILocalFile : public nsIFile {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_ILOCALFILE_IID)

  /* 48 */ NS_IMETHOD InitWithPath(const nsAString& filePath) = 0;
  /* 49 */ NS_IMETHOD InitWithNativePath(const nsACString& filePath) = 0;
  /* 50 */ NS_IMETHOD InitWithFile(nsILocalFile* aFile) = 0;
  /* 51 */ NS_IMETHOD GetFollowLinks(PRBool* aFollowLinks) = 0;
  /* 52 */ NS_IMETHOD SetFollowLinks(PRBool aFollowLinks) = 0;
  /* 53 */ NS_IMETHOD OpenNSPRFileDesc(PRInt32 flags, PRInt32 mode, PRFileDesc** _retval) = 0;
  /* 54 */ NS_IMETHOD OpenANSIFileDesc(const char* mode, FILE** _retval) = 0;
  /* 55 */ NS_IMETHOD Load(PRLibrary** _retval) = 0;
  /* 56 */ NS_IMETHOD GetDiskSpaceAvailable(PRInt64* aDiskSpaceAvailable) = 0;
  /* 57 */ NS_IMETHOD AppendRelativePath(const nsAString& relativeFilePath) = 0;
  /* 58 */ NS_IMETHOD AppendRelativeNativePath(const nsACString& relativeFilePath) = 0;
  /* 59 */ NS_IMETHOD GetPersistentDescriptor(nsACString& aPersistentDescriptor) = 0;
  /* 60 */ NS_IMETHOD SetPersistentDescriptor(const nsACString& aPersistentDescriptor) = 0;
  /* 61 */ NS_IMETHOD Reveal(void) = 0;
  /* 62 */ NS_IMETHOD Launch(void) = 0;
  /* 63 */ NS_IMETHOD GetRelativeDescriptor(nsILocalFile* fromFile, nsACString& _retval) = 0;
  /* 64 */ NS_IMETHOD SetRelativeDescriptor(nsILocalFile* fromFile,
                                            const nsACString& relativeDesc) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsILocalFile, NS_ILOCALFILE_IID)
