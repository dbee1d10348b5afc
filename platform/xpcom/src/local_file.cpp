#include "local_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/time.h>
#include <unistd.h>

#include <filesystem>
#include <new>
#include <system_error>

#include "nsCOMPtr.h"
#include "nsStringAPI.h"
#include "nsXPCOM.h"

namespace xpcom {

nsresult ResultFromErrno(int aErrno) {
  switch (aErrno) {
  case 0:
    return NS_OK;
  case ENOENT:
    return NS_ERROR_FILE_NOT_FOUND;
  case EEXIST:
    return NS_ERROR_FILE_ALREADY_EXISTS;
  case ENOTDIR:
    return NS_ERROR_FILE_NOT_DIRECTORY;
  case EISDIR:
    return NS_ERROR_FILE_IS_DIRECTORY;
  case EACCES:
  case EPERM:
    return NS_ERROR_FILE_ACCESS_DENIED;
  case EROFS:
    return NS_ERROR_FILE_READ_ONLY;
  case ENOSPC:
    return NS_ERROR_FILE_NO_DEVICE_SPACE;
  case ENAMETOOLONG:
    return NS_ERROR_FILE_NAME_TOO_LONG;
  case ENOTEMPTY:
    return NS_ERROR_FILE_DIR_NOT_EMPTY;
  case EFBIG:
    return NS_ERROR_FILE_TOO_BIG;
  case ENOMEM:
    return NS_ERROR_OUT_OF_MEMORY;
  default:
    return NS_ERROR_FAILURE;
  }
}

namespace {

// A path component to append: not empty, no '/', not "." or "..".
bool IsPlainName(const char* aName, PRUint32 aLength) {
  std::string_view name(aName, aLength);
  return !name.empty() && name.find('/') == std::string_view::npos && name != "." && name != ".." &&
         name.find('\0') == std::string_view::npos;
}

std::string StripTrailingSlashes(std::string aPath) {
  while (aPath.size() > 1 && aPath.back() == '/')
    aPath.pop_back();
  return aPath;
}

nsresult NativePathOf(nsIFile* aFile, std::string& aOut) {
  if (!aFile)
    return NS_ERROR_NULL_POINTER;
  nsCString path;
  nsresult rv = aFile->GetNativePath(path);
  if (NS_SUCCEEDED(rv))
    aOut.assign(path.get(), path.Length());
  return rv;
}

PRInt64 Milliseconds(const struct timespec& aTime) {
  return PRInt64(aTime.tv_sec) * 1000 + aTime.tv_nsec / 1000000;
}

PRUint32 PermissionBits(const struct stat& aInfo) {
  return PRUint32(aInfo.st_mode & 07777);
}

PRInt64 ModifiedMilliseconds(const struct stat& aInfo) {
  return Milliseconds(aInfo.st_mtim);
}

} // namespace

XPCOM_IMPL_ADDREF_RELEASE(LocalFile)

NS_IMETHODIMP LocalFile::QueryInterface(REFNSIID aIID, void** aResult) {
  return QueryFace<nsILocalFile, nsIFile, nsISupports>(static_cast<nsILocalFile*>(this), aIID,
                                                       aResult);
}

nsresult LocalFile::RequirePath() const {
  return mPath.empty() ? NS_ERROR_NOT_INITIALIZED : NS_OK;
}

nsresult LocalFile::Stat(struct stat& aInfo, bool aFollow) const {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  int result = aFollow ? stat(mPath.c_str(), &aInfo) : lstat(mPath.c_str(), &aInfo);
  return result == 0 ? NS_OK : ResultFromErrno(errno);
}

template <typename T, typename Read>
nsresult LocalFile::ReadStat(T* aOut, bool aFollow, Read aRead) const {
  if (!aOut)
    return NS_ERROR_NULL_POINTER;
  struct stat info;
  nsresult rv = Stat(info, aFollow);
  if (NS_SUCCEEDED(rv))
    *aOut = aRead(info);
  return rv;
}

// Sets the modification time in milliseconds since the epoch and leaves the access time alone.
nsresult LocalFile::SetModifiedTime(PRInt64 aMilliseconds, bool aFollow) const {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  struct timespec times[2];
  times[0].tv_nsec = UTIME_OMIT;
  times[0].tv_sec = 0;
  times[1].tv_sec = time_t(aMilliseconds / 1000);
  times[1].tv_nsec = long(aMilliseconds % 1000) * 1000000;
  return utimensat(AT_FDCWD, mPath.c_str(), times, aFollow ? 0 : AT_SYMLINK_NOFOLLOW) == 0
             ? NS_OK
             : ResultFromErrno(errno);
}

nsresult LocalFile::Test(int aMode, PRBool* _retval) const {
  if (!_retval)
    return NS_ERROR_NULL_POINTER;
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  if (access(mPath.c_str(), aMode) == 0) {
    *_retval = PR_TRUE;
    return NS_OK;
  }
  *_retval = PR_FALSE;
  return errno == EACCES || errno == EROFS ? NS_OK : ResultFromErrno(errno);
}

nsresult LocalFile::StatTest(bool aFollow, unsigned aTypeBits, PRBool* _retval) const {
  if (!_retval)
    return NS_ERROR_NULL_POINTER;
  *_retval = PR_FALSE;
  struct stat info;
  nsresult rv = Stat(info, aFollow);
  if (NS_FAILED(rv))
    return rv;
  *_retval = (info.st_mode & S_IFMT) == aTypeBits ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::Append(const nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::AppendNative(const nsACString& node) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  if (!IsPlainName(node.get(), node.Length()))
    return NS_ERROR_FILE_UNRECOGNIZED_PATH;
  if (mPath != "/")
    mPath += '/';
  mPath.append(node.get(), node.Length());
  return NS_OK;
}

NS_IMETHODIMP LocalFile::Normalize() {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  std::error_code error;
  std::filesystem::path normal = std::filesystem::weakly_canonical(mPath, error);
  if (error)
    return ResultFromErrno(error.value());
  mPath = StripTrailingSlashes(normal.string());
  return NS_OK;
}

NS_IMETHODIMP LocalFile::Create(PRUint32 type, PRUint32 permissions) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  if (type != NORMAL_FILE_TYPE && type != DIRECTORY_TYPE)
    return NS_ERROR_FILE_UNKNOWN_TYPE;
  // Missing ancestors are made as directories, as the host's files do.
  std::error_code error;
  std::filesystem::path parent = std::filesystem::path(mPath).parent_path();
  if (!parent.empty())
    std::filesystem::create_directories(parent, error);
  if (error)
    return ResultFromErrno(error.value());
  if (type == DIRECTORY_TYPE)
    return mkdir(mPath.c_str(), mode_t(permissions)) == 0 ? NS_OK : ResultFromErrno(errno);
  int fd = open(mPath.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, mode_t(permissions));
  if (fd < 0)
    return ResultFromErrno(errno);
  close(fd);
  return NS_OK;
}

NS_IMETHODIMP LocalFile::GetLeafName(nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP LocalFile::SetLeafName(const nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::GetNativeLeafName(nsACString& aNativeLeafName) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  size_t slash = mPath.rfind('/');
  std::string leaf = mPath == "/" ? std::string() : mPath.substr(slash + 1);
  aNativeLeafName.Assign(leaf.c_str(), PRUint32(leaf.size()));
  return NS_OK;
}

NS_IMETHODIMP LocalFile::SetNativeLeafName(const nsACString& aNativeLeafName) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  if (mPath == "/" || !IsPlainName(aNativeLeafName.get(), aNativeLeafName.Length()))
    return NS_ERROR_FILE_UNRECOGNIZED_PATH;
  mPath.resize(mPath.rfind('/') + 1);
  mPath.append(aNativeLeafName.get(), aNativeLeafName.Length());
  return NS_OK;
}

nsresult LocalFile::TargetPath(nsIFile* aParentDir, const nsACString& aNewName,
                               std::string& aOut) const {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  std::string dir;
  if (aParentDir) {
    rv = NativePathOf(aParentDir, dir);
    if (NS_FAILED(rv))
      return rv;
  } else {
    dir = std::filesystem::path(mPath).parent_path().string();
  }
  std::string leaf;
  if (aNewName.IsEmpty())
    leaf = std::filesystem::path(mPath).filename().string();
  else if (IsPlainName(aNewName.get(), aNewName.Length()))
    leaf.assign(aNewName.get(), aNewName.Length());
  else
    return NS_ERROR_FILE_UNRECOGNIZED_PATH;
  aOut = (dir == "/" ? dir : dir + "/") + leaf;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::CopyTo(nsIFile*, const nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::CopyToNative(nsIFile* newParentDir, const nsACString& newName) {
  std::string target;
  nsresult rv = TargetPath(newParentDir, newName, target);
  if (NS_FAILED(rv))
    return rv;
  std::error_code error;
  std::filesystem::copy(mPath, target,
                        std::filesystem::copy_options::recursive |
                            std::filesystem::copy_options::copy_symlinks,
                        error);
  return error ? ResultFromErrno(error.value()) : NS_OK;
}

NS_IMETHODIMP LocalFile::CopyToFollowingLinks(nsIFile*, const nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::CopyToFollowingLinksNative(nsIFile* newParentDir,
                                                    const nsACString& newName) {
  std::string target;
  nsresult rv = TargetPath(newParentDir, newName, target);
  if (NS_FAILED(rv))
    return rv;
  std::error_code error;
  std::filesystem::copy(mPath, target, std::filesystem::copy_options::recursive, error);
  return error ? ResultFromErrno(error.value()) : NS_OK;
}

NS_IMETHODIMP LocalFile::MoveTo(nsIFile*, const nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::MoveToNative(nsIFile* newParentDir, const nsACString& newName) {
  std::string target;
  nsresult rv = TargetPath(newParentDir, newName, target);
  if (NS_FAILED(rv))
    return rv;
  if (rename(mPath.c_str(), target.c_str()) != 0)
    return ResultFromErrno(errno);
  mPath = target;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::Remove(PRBool recursive) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  struct stat info;
  if (lstat(mPath.c_str(), &info) != 0)
    return ResultFromErrno(errno);
  if (S_ISDIR(info.st_mode)) {
    if (recursive) {
      std::error_code error;
      std::filesystem::remove_all(mPath, error);
      return error ? ResultFromErrno(error.value()) : NS_OK;
    }
    return rmdir(mPath.c_str()) == 0 ? NS_OK : ResultFromErrno(errno);
  }
  return unlink(mPath.c_str()) == 0 ? NS_OK : ResultFromErrno(errno);
}

NS_IMETHODIMP LocalFile::GetPermissions(PRUint32* aPermissions) {
  return ReadStat(aPermissions, true, PermissionBits);
}

NS_IMETHODIMP LocalFile::SetPermissions(PRUint32 aPermissions) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  return chmod(mPath.c_str(), mode_t(aPermissions)) == 0 ? NS_OK : ResultFromErrno(errno);
}

NS_IMETHODIMP LocalFile::GetPermissionsOfLink(PRUint32* aPermissionsOfLink) {
  return ReadStat(aPermissionsOfLink, false, PermissionBits);
}

// Links carry no permissions of their own on Linux.
NS_IMETHODIMP LocalFile::SetPermissionsOfLink(PRUint32) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::GetLastModifiedTime(PRInt64* aLastModifiedTime) {
  return ReadStat(aLastModifiedTime, true, ModifiedMilliseconds);
}

NS_IMETHODIMP LocalFile::SetLastModifiedTime(PRInt64 aLastModifiedTime) {
  return SetModifiedTime(aLastModifiedTime, true);
}

NS_IMETHODIMP LocalFile::GetLastModifiedTimeOfLink(PRInt64* aLastModifiedTimeOfLink) {
  return ReadStat(aLastModifiedTimeOfLink, false, ModifiedMilliseconds);
}

NS_IMETHODIMP LocalFile::SetLastModifiedTimeOfLink(PRInt64 aLastModifiedTimeOfLink) {
  return SetModifiedTime(aLastModifiedTimeOfLink, false);
}

NS_IMETHODIMP LocalFile::GetFileSize(PRInt64* aFileSize) {
  return ReadStat(aFileSize, true, [](const struct stat& info) {
    return S_ISDIR(info.st_mode) ? 0 : PRInt64(info.st_size);
  });
}

NS_IMETHODIMP LocalFile::SetFileSize(PRInt64 aFileSize) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  if (aFileSize < 0)
    return NS_ERROR_INVALID_ARG;
  return truncate(mPath.c_str(), off_t(aFileSize)) == 0 ? NS_OK : ResultFromErrno(errno);
}

NS_IMETHODIMP LocalFile::GetFileSizeOfLink(PRInt64* aFileSizeOfLink) {
  return ReadStat(aFileSizeOfLink, false,
                  [](const struct stat& info) { return PRInt64(info.st_size); });
}

NS_IMETHODIMP LocalFile::GetTarget(nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::GetNativeTarget(nsACString& aNativeTarget) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  std::error_code error;
  std::filesystem::path target = std::filesystem::read_symlink(mPath, error);
  if (error) {
    if (error.value() != EINVAL)
      return ResultFromErrno(error.value());
    target = mPath; // not a link: its own target
  }
  aNativeTarget.Assign(target.c_str());
  return NS_OK;
}

NS_IMETHODIMP LocalFile::GetPath(nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::GetNativePath(nsACString& aNativePath) {
  aNativePath.Assign(mPath.c_str(), PRUint32(mPath.size()));
  return NS_OK;
}

NS_IMETHODIMP LocalFile::Exists(PRBool* _retval) {
  if (!_retval)
    return NS_ERROR_NULL_POINTER;
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  *_retval = access(mPath.c_str(), F_OK) == 0 ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::IsWritable(PRBool* _retval) {
  return Test(W_OK, _retval);
}
NS_IMETHODIMP LocalFile::IsReadable(PRBool* _retval) {
  return Test(R_OK, _retval);
}
NS_IMETHODIMP LocalFile::IsExecutable(PRBool* _retval) {
  return Test(X_OK, _retval);
}

NS_IMETHODIMP LocalFile::IsHidden(PRBool* _retval) {
  if (!_retval)
    return NS_ERROR_NULL_POINTER;
  nsCString leaf;
  nsresult rv = GetNativeLeafName(leaf);
  if (NS_SUCCEEDED(rv))
    *_retval = leaf.First() == '.' ? PR_TRUE : PR_FALSE;
  return rv;
}

NS_IMETHODIMP LocalFile::IsDirectory(PRBool* _retval) {
  return StatTest(true, S_IFDIR, _retval);
}
NS_IMETHODIMP LocalFile::IsFile(PRBool* _retval) {
  return StatTest(true, S_IFREG, _retval);
}
NS_IMETHODIMP LocalFile::IsSymlink(PRBool* _retval) {
  return StatTest(false, S_IFLNK, _retval);
}

NS_IMETHODIMP LocalFile::IsSpecial(PRBool* _retval) {
  return ReadStat(_retval, true, [](const struct stat& info) {
    return S_ISREG(info.st_mode) || S_ISDIR(info.st_mode) ? PR_FALSE : PR_TRUE;
  });
}

// Tries the name as it is, then "base-1.ext", "base-2.ext", ... and keeps the first it makes.
NS_IMETHODIMP LocalFile::CreateUnique(PRUint32 type, PRUint32 permissions) {
  nsresult rv = Create(type, permissions);
  if (rv != NS_ERROR_FILE_ALREADY_EXISTS)
    return rv;
  std::filesystem::path original(mPath);
  std::string stem = original.stem().string();
  std::string extension = original.extension().string();
  std::string dir = original.parent_path().string();
  for (int i = 1; i < 10000; ++i) {
    mPath = dir + "/" + stem + "-" + std::to_string(i) + extension;
    rv = Create(type, permissions);
    if (rv != NS_ERROR_FILE_ALREADY_EXISTS)
      return rv;
  }
  mPath = original.string();
  return NS_ERROR_FILE_TOO_BIG;
}

NS_IMETHODIMP LocalFile::Clone(nsIFile** _retval) {
  if (!_retval)
    return NS_ERROR_NULL_POINTER;
  auto* copy = new (std::nothrow) LocalFile();
  if (!copy) {
    *_retval = nullptr;
    return NS_ERROR_OUT_OF_MEMORY;
  }
  copy->mPath = mPath;
  copy->mFollowLinks = mFollowLinks;
  copy->AddRef();
  *_retval = copy;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::Equals(nsIFile* inFile, PRBool* _retval) {
  if (!_retval)
    return NS_ERROR_NULL_POINTER;
  *_retval = PR_FALSE;
  std::string other;
  nsresult rv = NativePathOf(inFile, other);
  if (NS_SUCCEEDED(rv))
    *_retval = other == mPath ? PR_TRUE : PR_FALSE;
  return rv;
}

NS_IMETHODIMP LocalFile::Contains(nsIFile* inFile, PRBool recur, PRBool* _retval) {
  if (!_retval)
    return NS_ERROR_NULL_POINTER;
  *_retval = PR_FALSE;
  std::string other;
  nsresult rv = NativePathOf(inFile, other);
  if (NS_FAILED(rv))
    return rv;
  std::string prefix = mPath == "/" ? mPath : mPath + "/";
  if (other.size() > prefix.size() && other.compare(0, prefix.size(), prefix) == 0)
    *_retval = recur || other.find('/', prefix.size()) == std::string::npos ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::GetParent(nsIFile** aParent) {
  if (!aParent)
    return NS_ERROR_NULL_POINTER;
  *aParent = nullptr;
  nsresult rv = RequirePath();
  if (NS_FAILED(rv) || mPath == "/")
    return rv; // the root has no parent: null and NS_OK
  auto* parent = new (std::nothrow) LocalFile();
  if (!parent)
    return NS_ERROR_OUT_OF_MEMORY;
  size_t slash = mPath.rfind('/');
  parent->mPath = slash == 0 ? std::string("/") : mPath.substr(0, slash);
  parent->mFollowLinks = mFollowLinks;
  parent->AddRef();
  *aParent = parent;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::GetDirectoryEntries(nsISimpleEnumerator**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::InitWithPath(const nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::InitWithNativePath(const nsACString& filePath) {
  const char* data = filePath.get();
  PRUint32 length = filePath.Length();
  if (length == 0 || data[0] != '/' || memchr(data, '\0', length))
    return NS_ERROR_FILE_UNRECOGNIZED_PATH;
  mPath = StripTrailingSlashes(std::string(data, length));
  return NS_OK;
}

NS_IMETHODIMP LocalFile::InitWithFile(nsILocalFile* aFile) {
  std::string path;
  nsresult rv = NativePathOf(aFile, path);
  if (NS_SUCCEEDED(rv))
    mPath = path;
  return rv;
}

NS_IMETHODIMP LocalFile::GetFollowLinks(PRBool* aFollowLinks) {
  if (!aFollowLinks)
    return NS_ERROR_NULL_POINTER;
  *aFollowLinks = mFollowLinks ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::SetFollowLinks(PRBool aFollowLinks) {
  mFollowLinks = aFollowLinks != PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::OpenNSPRFileDesc(PRInt32, PRInt32, PRFileDesc**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::OpenANSIFileDesc(const char* mode, FILE** _retval) {
  if (!mode || !_retval)
    return NS_ERROR_NULL_POINTER;
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  *_retval = fopen(mPath.c_str(), mode);
  return *_retval ? NS_OK : ResultFromErrno(errno);
}

NS_IMETHODIMP LocalFile::Load(PRLibrary**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::GetDiskSpaceAvailable(PRInt64* aDiskSpaceAvailable) {
  if (!aDiskSpaceAvailable)
    return NS_ERROR_NULL_POINTER;
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  struct statvfs info;
  if (statvfs(mPath.c_str(), &info) != 0)
    return ResultFromErrno(errno);
  *aDiskSpaceAvailable = PRInt64(info.f_bavail) * PRInt64(info.f_frsize);
  return NS_OK;
}

NS_IMETHODIMP LocalFile::AppendRelativePath(const nsAString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

// Appends "a/b/c", refusing absolute paths and any ".." step.
NS_IMETHODIMP LocalFile::AppendRelativeNativePath(const nsACString& relativeFilePath) {
  nsresult rv = RequirePath();
  if (NS_FAILED(rv))
    return rv;
  std::string_view rest(relativeFilePath.get(), relativeFilePath.Length());
  if (rest.empty())
    return NS_OK;
  if (rest.front() == '/')
    return NS_ERROR_FILE_UNRECOGNIZED_PATH;
  std::string path = mPath;
  while (!rest.empty()) {
    size_t slash = rest.find('/');
    std::string_view part = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    if (part.empty() || part == ".")
      continue;
    if (!IsPlainName(part.data(), PRUint32(part.size())))
      return NS_ERROR_FILE_UNRECOGNIZED_PATH;
    if (path != "/")
      path += '/';
    path.append(part);
  }
  mPath = path;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::GetPersistentDescriptor(nsACString& aPersistentDescriptor) {
  return GetNativePath(aPersistentDescriptor);
}

NS_IMETHODIMP LocalFile::SetPersistentDescriptor(const nsACString& aPersistentDescriptor) {
  return InitWithNativePath(aPersistentDescriptor);
}

NS_IMETHODIMP LocalFile::Reveal() {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP LocalFile::Launch() {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::GetRelativeDescriptor(nsILocalFile*, nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP LocalFile::SetRelativeDescriptor(nsILocalFile*, const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

} // namespace xpcom

extern "C" nsresult NS_NewNativeLocalFile(const nsACString& path, PRBool followLinks,
                                          nsILocalFile** result) {
  if (!result)
    return NS_ERROR_NULL_POINTER;
  *result = nullptr;
  auto* file = new (std::nothrow) xpcom::LocalFile();
  if (!file)
    return NS_ERROR_OUT_OF_MEMORY;
  nsCOMPtr<nsILocalFile> holder(file);
  file->SetFollowLinks(followLinks);
  // An empty path gives a file object to be set up later with InitWithNativePath.
  if (!path.IsEmpty()) {
    nsresult rv = file->InitWithNativePath(path);
    if (NS_FAILED(rv))
      return rv;
  }
  holder.forget(result);
  return NS_OK;
}
