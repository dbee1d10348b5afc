#include "LocalFile.h"

#include <errno.h>
#include <string.h>

#include <new>

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

NS_IMPL_THREADSAFE_ISUPPORTS2(LocalFile, nsILocalFile, nsIFile)

NS_IMETHODIMP LocalFile::GetNativePath(nsACString& aNativePath) {
  aNativePath.Assign(mPath.c_str(), PRUint32(mPath.size()));
  return NS_OK;
}

NS_IMETHODIMP LocalFile::InitWithNativePath(const nsACString& filePath) {
  const char* data = filePath.get();
  PRUint32 length = filePath.Length();
  if (length == 0 || data[0] != '/' || memchr(data, '\0', length))
    return NS_ERROR_FILE_UNRECOGNIZED_PATH;
  mPath.assign(data, length);
  while (mPath.size() > 1 && mPath.back() == '/')
    mPath.pop_back();
  return NS_OK;
}

NS_IMETHODIMP LocalFile::GetFollowLinks(PRBool* aFollowLinks) {
  NS_ENSURE_ARG_POINTER(aFollowLinks);
  *aFollowLinks = mFollowLinks ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP LocalFile::SetFollowLinks(PRBool aFollowLinks) {
  mFollowLinks = aFollowLinks != PR_FALSE;
  return NS_OK;
}

} // namespace xpcom

extern "C" nsresult NS_NewNativeLocalFile(const nsACString& path, PRBool followLinks,
                                          nsILocalFile** result) {
  NS_ENSURE_ARG_POINTER(result);
  *result = nullptr;
  auto* file = new (std::nothrow) xpcom::LocalFile();
  if (!file)
    return NS_ERROR_OUT_OF_MEMORY;
  nsCOMPtr<nsILocalFile> holder(file);
  file->SetFollowLinks(followLinks);
  // An empty path gives a file object to be set up later with InitWithNativePath.
  if (!path.IsEmpty()) {
    nsresult rv = file->InitWithNativePath(path);
    NS_ENSURE_SUCCESS(rv, rv);
  }
  holder.forget(result);
  return NS_OK;
}
