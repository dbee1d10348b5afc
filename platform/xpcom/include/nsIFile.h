// A file-system location. Full frozen 1.8 slot list (slots 3-47).
#pragma once

#include "nsISupports.h"
#include "nsStringAPI.h"

class nsISimpleEnumerator;

#define NS_IFILE_IID_STR "c8c0a080-0868-11d3-915f-d9d889d48e3c"
#define NS_IFILE_IID                                                                               \
  {                                                                                                \
    0xc8c0a080, 0x0868, 0x11d3, {                                                                  \
      0x91, 0x5f, 0xd9, 0xd8, 0x89, 0xd4, 0x8e, 0x3c                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIFile : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IFILE_IID)

  enum { NORMAL_FILE_TYPE = 0U };
  enum { DIRECTORY_TYPE = 1U };

  /* 3 */ NS_IMETHOD Append(const nsAString& node) = 0;
  /* 4 */ NS_IMETHOD AppendNative(const nsACString& node) = 0;
  /* 5 */ NS_IMETHOD Normalize(void) = 0;
  /* 6 */ NS_IMETHOD Create(PRUint32 type, PRUint32 permissions) = 0;
  /* 7 */ NS_IMETHOD GetLeafName(nsAString& aLeafName) = 0;
  /* 8 */ NS_IMETHOD SetLeafName(const nsAString& aLeafName) = 0;
  /* 9 */ NS_IMETHOD GetNativeLeafName(nsACString& aNativeLeafName) = 0;
  /* 10 */ NS_IMETHOD SetNativeLeafName(const nsACString& aNativeLeafName) = 0;
  /* 11 */ NS_IMETHOD CopyTo(nsIFile* newParentDir, const nsAString& newName) = 0;
  /* 12 */ NS_IMETHOD CopyToNative(nsIFile* newParentDir, const nsACString& newName) = 0;
  /* 13 */ NS_IMETHOD CopyToFollowingLinks(nsIFile* newParentDir, const nsAString& newName) = 0;
  /* 14 */ NS_IMETHOD CopyToFollowingLinksNative(nsIFile* newParentDir,
                                                 const nsACString& newName) = 0;
  /* 15 */ NS_IMETHOD MoveTo(nsIFile* newParentDir, const nsAString& newName) = 0;
  /* 16 */ NS_IMETHOD MoveToNative(nsIFile* newParentDir, const nsACString& newName) = 0;
  /* 17 */ NS_IMETHOD Remove(PRBool recursive) = 0;
  /* 18 */ NS_IMETHOD GetPermissions(PRUint32* aPermissions) = 0;
  /* 19 */ NS_IMETHOD SetPermissions(PRUint32 aPermissions) = 0;
  /* 20 */ NS_IMETHOD GetPermissionsOfLink(PRUint32* aPermissionsOfLink) = 0;
  /* 21 */ NS_IMETHOD SetPermissionsOfLink(PRUint32 aPermissionsOfLink) = 0;
  /* 22 */ NS_IMETHOD GetLastModifiedTime(PRInt64* aLastModifiedTime) = 0;
  /* 23 */ NS_IMETHOD SetLastModifiedTime(PRInt64 aLastModifiedTime) = 0;
  /* 24 */ NS_IMETHOD GetLastModifiedTimeOfLink(PRInt64* aLastModifiedTimeOfLink) = 0;
  /* 25 */ NS_IMETHOD SetLastModifiedTimeOfLink(PRInt64 aLastModifiedTimeOfLink) = 0;
  /* 26 */ NS_IMETHOD GetFileSize(PRInt64* aFileSize) = 0;
  /* 27 */ NS_IMETHOD SetFileSize(PRInt64 aFileSize) = 0;
  /* 28 */ NS_IMETHOD GetFileSizeOfLink(PRInt64* aFileSizeOfLink) = 0;
  /* 29 */ NS_IMETHOD GetTarget(nsAString& aTarget) = 0;
  /* 30 */ NS_IMETHOD GetNativeTarget(nsACString& aNativeTarget) = 0;
  /* 31 */ NS_IMETHOD GetPath(nsAString& aPath) = 0;
  /* 32 */ NS_IMETHOD GetNativePath(nsACString& aNativePath) = 0;
  /* 33 */ NS_IMETHOD Exists(PRBool* _retval) = 0;
  /* 34 */ NS_IMETHOD IsWritable(PRBool* _retval) = 0;
  /* 35 */ NS_IMETHOD IsReadable(PRBool* _retval) = 0;
  /* 36 */ NS_IMETHOD IsExecutable(PRBool* _retval) = 0;
  /* 37 */ NS_IMETHOD IsHidden(PRBool* _retval) = 0;
  /* 38 */ NS_IMETHOD IsDirectory(PRBool* _retval) = 0;
  /* 39 */ NS_IMETHOD IsFile(PRBool* _retval) = 0;
  /* 40 */ NS_IMETHOD IsSymlink(PRBool* _retval) = 0;
  /* 41 */ NS_IMETHOD IsSpecial(PRBool* _retval) = 0;
  /* 42 */ NS_IMETHOD CreateUnique(PRUint32 type, PRUint32 permissions) = 0;
  /* 43 */ NS_IMETHOD Clone(nsIFile** _retval) = 0;
  /* 44 */ NS_IMETHOD Equals(nsIFile* inFile, PRBool* _retval) = 0;
  /* 45 */ NS_IMETHOD Contains(nsIFile* inFile, PRBool recur, PRBool* _retval) = 0;
  /* 46 */ NS_IMETHOD GetParent(nsIFile** aParent) = 0;
  /* 47 */ NS_IMETHOD GetDirectoryEntries(nsISimpleEnumerator** aDirectoryEntries) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIFile, NS_IFILE_IID)
