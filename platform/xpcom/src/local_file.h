// nsILocalFile for native (byte-string) paths. UTF-16 paths are not supported: those methods
// answer NS_ERROR_NOT_IMPLEMENTED.
#ifndef xpcom_local_file_h
#define xpcom_local_file_h

#include <sys/stat.h>

#include <string>

#include "nsILocalFile.h"
#include "ref_counted.h"

namespace xpcom {

class LocalFile final : public nsILocalFile {
public:
  LocalFile() = default;

  NS_DECL_ISUPPORTS

  NS_IMETHOD Append(const nsAString& node) override;
  NS_IMETHOD AppendNative(const nsACString& node) override;
  NS_IMETHOD Normalize(void) override;
  NS_IMETHOD Create(PRUint32 type, PRUint32 permissions) override;
  NS_IMETHOD GetLeafName(nsAString& aLeafName) override;
  NS_IMETHOD SetLeafName(const nsAString& aLeafName) override;
  NS_IMETHOD GetNativeLeafName(nsACString& aNativeLeafName) override;
  NS_IMETHOD SetNativeLeafName(const nsACString& aNativeLeafName) override;
  NS_IMETHOD CopyTo(nsIFile* newParentDir, const nsAString& newName) override;
  NS_IMETHOD CopyToNative(nsIFile* newParentDir, const nsACString& newName) override;
  NS_IMETHOD CopyToFollowingLinks(nsIFile* newParentDir, const nsAString& newName) override;
  NS_IMETHOD CopyToFollowingLinksNative(nsIFile* newParentDir, const nsACString& newName) override;
  NS_IMETHOD MoveTo(nsIFile* newParentDir, const nsAString& newName) override;
  NS_IMETHOD MoveToNative(nsIFile* newParentDir, const nsACString& newName) override;
  NS_IMETHOD Remove(PRBool recursive) override;
  NS_IMETHOD GetPermissions(PRUint32* aPermissions) override;
  NS_IMETHOD SetPermissions(PRUint32 aPermissions) override;
  NS_IMETHOD GetPermissionsOfLink(PRUint32* aPermissionsOfLink) override;
  NS_IMETHOD SetPermissionsOfLink(PRUint32 aPermissionsOfLink) override;
  NS_IMETHOD GetLastModifiedTime(PRInt64* aLastModifiedTime) override;
  NS_IMETHOD SetLastModifiedTime(PRInt64 aLastModifiedTime) override;
  NS_IMETHOD GetLastModifiedTimeOfLink(PRInt64* aLastModifiedTimeOfLink) override;
  NS_IMETHOD SetLastModifiedTimeOfLink(PRInt64 aLastModifiedTimeOfLink) override;
  NS_IMETHOD GetFileSize(PRInt64* aFileSize) override;
  NS_IMETHOD SetFileSize(PRInt64 aFileSize) override;
  NS_IMETHOD GetFileSizeOfLink(PRInt64* aFileSizeOfLink) override;
  NS_IMETHOD GetTarget(nsAString& aTarget) override;
  NS_IMETHOD GetNativeTarget(nsACString& aNativeTarget) override;
  NS_IMETHOD GetPath(nsAString& aPath) override;
  NS_IMETHOD GetNativePath(nsACString& aNativePath) override;
  NS_IMETHOD Exists(PRBool* _retval) override;
  NS_IMETHOD IsWritable(PRBool* _retval) override;
  NS_IMETHOD IsReadable(PRBool* _retval) override;
  NS_IMETHOD IsExecutable(PRBool* _retval) override;
  NS_IMETHOD IsHidden(PRBool* _retval) override;
  NS_IMETHOD IsDirectory(PRBool* _retval) override;
  NS_IMETHOD IsFile(PRBool* _retval) override;
  NS_IMETHOD IsSymlink(PRBool* _retval) override;
  NS_IMETHOD IsSpecial(PRBool* _retval) override;
  NS_IMETHOD CreateUnique(PRUint32 type, PRUint32 permissions) override;
  NS_IMETHOD Clone(nsIFile** _retval) override;
  NS_IMETHOD Equals(nsIFile* inFile, PRBool* _retval) override;
  NS_IMETHOD Contains(nsIFile* inFile, PRBool recur, PRBool* _retval) override;
  NS_IMETHOD GetParent(nsIFile** aParent) override;
  NS_IMETHOD GetDirectoryEntries(nsISimpleEnumerator** aDirectoryEntries) override;

  NS_IMETHOD InitWithPath(const nsAString& filePath) override;
  NS_IMETHOD InitWithNativePath(const nsACString& filePath) override;
  NS_IMETHOD InitWithFile(nsILocalFile* aFile) override;
  NS_IMETHOD GetFollowLinks(PRBool* aFollowLinks) override;
  NS_IMETHOD SetFollowLinks(PRBool aFollowLinks) override;
  NS_IMETHOD OpenNSPRFileDesc(PRInt32 flags, PRInt32 mode, PRFileDesc** _retval) override;
  NS_IMETHOD OpenANSIFileDesc(const char* mode, FILE** _retval) override;
  NS_IMETHOD Load(PRLibrary** _retval) override;
  NS_IMETHOD GetDiskSpaceAvailable(PRInt64* aDiskSpaceAvailable) override;
  NS_IMETHOD AppendRelativePath(const nsAString& relativeFilePath) override;
  NS_IMETHOD AppendRelativeNativePath(const nsACString& relativeFilePath) override;
  NS_IMETHOD GetPersistentDescriptor(nsACString& aPersistentDescriptor) override;
  NS_IMETHOD SetPersistentDescriptor(const nsACString& aPersistentDescriptor) override;
  NS_IMETHOD Reveal(void) override;
  NS_IMETHOD Launch(void) override;
  NS_IMETHOD GetRelativeDescriptor(nsILocalFile* fromFile, nsACString& _retval) override;
  NS_IMETHOD SetRelativeDescriptor(nsILocalFile* fromFile, const nsACString& relativeDesc) override;

  const std::string& Path() const { return mPath; }

private:
  ~LocalFile() = default;
  nsresult RequirePath() const;
  nsresult Stat(struct stat& aInfo, bool aFollow) const;
  // Stats the file (or the link itself) and stores aRead(info) in *aOut.
  template <typename T, typename Read>
  nsresult ReadStat(T* aOut, bool aFollow, Read aRead) const;
  nsresult SetModifiedTime(PRInt64 aMilliseconds, bool aFollow) const;
  nsresult Test(int aMode, PRBool* _retval) const;
  nsresult StatTest(bool aFollow, unsigned aTypeBits, PRBool* _retval) const;
  nsresult TargetPath(nsIFile* aParentDir, const nsACString& aNewName, std::string& aOut) const;

  RefCount mRefCount;
  std::string mPath; // absolute, no trailing '/' except for the root itself
  bool mFollowLinks = false;
};

// The errno of a failed system call as a result code.
nsresult ResultFromErrno(int aErrno);

} // namespace xpcom

#endif
