// nsILocalFile for native (byte-string) absolute paths, as far as the runtime and its host use
// one: made from a path and its path read back. The runtime only hands such a file to a bundle
// and reads its path; everything else answers NS_ERROR_NOT_IMPLEMENTED.
#pragma once

#include <string>

#include "nsILocalFile.h"

#define XPCOM_NOT_IMPLEMENTED(_method, ...)                                                        \
  NS_IMETHOD _method(__VA_ARGS__) override {                                                       \
    return NS_ERROR_NOT_IMPLEMENTED;                                                               \
  }

namespace xpcom {

class LocalFile final : public nsILocalFile {
public:
  LocalFile() = default;

  NS_DECL_ISUPPORTS

  NS_IMETHOD GetNativePath(nsACString& aNativePath) override;
  NS_IMETHOD InitWithNativePath(const nsACString& filePath) override;
  NS_IMETHOD GetFollowLinks(PRBool* aFollowLinks) override;
  NS_IMETHOD SetFollowLinks(PRBool aFollowLinks) override;

  XPCOM_NOT_IMPLEMENTED(Append, const nsAString&)
  XPCOM_NOT_IMPLEMENTED(AppendNative, const nsACString&)
  XPCOM_NOT_IMPLEMENTED(Clone, nsIFile**)
  XPCOM_NOT_IMPLEMENTED(Normalize)
  XPCOM_NOT_IMPLEMENTED(Create, PRUint32, PRUint32)
  XPCOM_NOT_IMPLEMENTED(GetLeafName, nsAString&)
  XPCOM_NOT_IMPLEMENTED(SetLeafName, const nsAString&)
  XPCOM_NOT_IMPLEMENTED(GetNativeLeafName, nsACString&)
  XPCOM_NOT_IMPLEMENTED(SetNativeLeafName, const nsACString&)
  XPCOM_NOT_IMPLEMENTED(CopyTo, nsIFile*, const nsAString&)
  XPCOM_NOT_IMPLEMENTED(CopyToNative, nsIFile*, const nsACString&)
  XPCOM_NOT_IMPLEMENTED(CopyToFollowingLinks, nsIFile*, const nsAString&)
  XPCOM_NOT_IMPLEMENTED(CopyToFollowingLinksNative, nsIFile*, const nsACString&)
  XPCOM_NOT_IMPLEMENTED(MoveTo, nsIFile*, const nsAString&)
  XPCOM_NOT_IMPLEMENTED(MoveToNative, nsIFile*, const nsACString&)
  XPCOM_NOT_IMPLEMENTED(Remove, PRBool)
  XPCOM_NOT_IMPLEMENTED(GetPermissions, PRUint32*)
  XPCOM_NOT_IMPLEMENTED(SetPermissions, PRUint32)
  XPCOM_NOT_IMPLEMENTED(GetPermissionsOfLink, PRUint32*)
  XPCOM_NOT_IMPLEMENTED(SetPermissionsOfLink, PRUint32)
  XPCOM_NOT_IMPLEMENTED(GetLastModifiedTime, PRInt64*)
  XPCOM_NOT_IMPLEMENTED(SetLastModifiedTime, PRInt64)
  XPCOM_NOT_IMPLEMENTED(GetLastModifiedTimeOfLink, PRInt64*)
  XPCOM_NOT_IMPLEMENTED(SetLastModifiedTimeOfLink, PRInt64)
  XPCOM_NOT_IMPLEMENTED(GetFileSize, PRInt64*)
  XPCOM_NOT_IMPLEMENTED(SetFileSize, PRInt64)
  XPCOM_NOT_IMPLEMENTED(GetFileSizeOfLink, PRInt64*)
  XPCOM_NOT_IMPLEMENTED(GetTarget, nsAString&)
  XPCOM_NOT_IMPLEMENTED(GetNativeTarget, nsACString&)
  XPCOM_NOT_IMPLEMENTED(GetPath, nsAString&)
  XPCOM_NOT_IMPLEMENTED(Exists, PRBool*)
  XPCOM_NOT_IMPLEMENTED(IsWritable, PRBool*)
  XPCOM_NOT_IMPLEMENTED(IsReadable, PRBool*)
  XPCOM_NOT_IMPLEMENTED(IsExecutable, PRBool*)
  XPCOM_NOT_IMPLEMENTED(IsHidden, PRBool*)
  XPCOM_NOT_IMPLEMENTED(IsDirectory, PRBool*)
  XPCOM_NOT_IMPLEMENTED(IsFile, PRBool*)
  XPCOM_NOT_IMPLEMENTED(IsSymlink, PRBool*)
  XPCOM_NOT_IMPLEMENTED(IsSpecial, PRBool*)
  XPCOM_NOT_IMPLEMENTED(CreateUnique, PRUint32, PRUint32)
  XPCOM_NOT_IMPLEMENTED(Equals, nsIFile*, PRBool*)
  XPCOM_NOT_IMPLEMENTED(Contains, nsIFile*, PRBool, PRBool*)
  XPCOM_NOT_IMPLEMENTED(GetParent, nsIFile**)
  XPCOM_NOT_IMPLEMENTED(GetDirectoryEntries, nsISimpleEnumerator**)
  XPCOM_NOT_IMPLEMENTED(InitWithPath, const nsAString&)
  XPCOM_NOT_IMPLEMENTED(InitWithFile, nsILocalFile*)
  XPCOM_NOT_IMPLEMENTED(OpenNSPRFileDesc, PRInt32, PRInt32, PRFileDesc**)
  XPCOM_NOT_IMPLEMENTED(OpenANSIFileDesc, const char*, FILE**)
  XPCOM_NOT_IMPLEMENTED(Load, PRLibrary**)
  XPCOM_NOT_IMPLEMENTED(GetDiskSpaceAvailable, PRInt64*)
  XPCOM_NOT_IMPLEMENTED(AppendRelativePath, const nsAString&)
  XPCOM_NOT_IMPLEMENTED(AppendRelativeNativePath, const nsACString&)
  XPCOM_NOT_IMPLEMENTED(GetPersistentDescriptor, nsACString&)
  XPCOM_NOT_IMPLEMENTED(SetPersistentDescriptor, const nsACString&)
  XPCOM_NOT_IMPLEMENTED(Reveal)
  XPCOM_NOT_IMPLEMENTED(Launch)
  XPCOM_NOT_IMPLEMENTED(GetRelativeDescriptor, nsILocalFile*, nsACString&)
  XPCOM_NOT_IMPLEMENTED(SetRelativeDescriptor, nsILocalFile*, const nsACString&)

private:
  ~LocalFile() = default;

  std::string mPath; // absolute, no trailing '/' except for the root itself
  bool mFollowLinks = false;
};

// The errno of a failed system call as a result code.
nsresult ResultFromErrno(int aErrno);

} // namespace xpcom

#undef XPCOM_NOT_IMPLEMENTED
