#include "MailUrl.h"

#include <nsXPCOM.h>

#include <cstring>

namespace mailhost {

namespace {

void assign(nsACString& out, const std::string& value) {
  out.Assign(value.data(), static_cast<PRUint32>(value.size()));
}

std::string toStd(const nsACString& value) {
  const char* data = nullptr;
  PRUint32 length = NS_CStringGetData(value, &data, nullptr);
  return std::string(data, length);
}

} // namespace

MailUrl::MailUrl(std::string spec) : mSpec(std::move(spec)) {}

NS_IMPL_ISUPPORTS3(MailUrl, nsIURI, nsIURL, nsIMsgMailNewsUrl)

std::string MailUrl::scheme() const {
  return mSpec.substr(0, mSpec.find(':'));
}

std::string MailUrl::path() const {
  std::size_t colon = mSpec.find(':');
  if (colon == std::string::npos)
    return {};
  std::size_t start = colon + 1;
  if (mSpec.compare(start, 2, "//") == 0) {
    start = mSpec.find('/', start + 2);
    if (start == std::string::npos)
      return {};
  }
  return mSpec.substr(start);
}

std::string MailUrl::filePath() const {
  std::string p = path();
  return p.substr(0, p.find_first_of("?#"));
}

// nsIURI: answered from the spec.
NS_IMETHODIMP MailUrl::GetSpec(nsACString& aSpec) {
  assign(aSpec, mSpec);
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetAsciiSpec(nsACString& aAsciiSpec) {
  return GetSpec(aAsciiSpec);
}
NS_IMETHODIMP MailUrl::GetPrePath(nsACString& aPrePath) {
  assign(aPrePath, scheme() + "://");
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetScheme(nsACString& aScheme) {
  assign(aScheme, scheme());
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetUserPass(nsACString& aUserPass) {
  aUserPass.Truncate();
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetUsername(nsACString& aUsername) {
  return GetUserPass(aUsername);
}
NS_IMETHODIMP MailUrl::GetPassword(nsACString& aPassword) {
  return GetUserPass(aPassword);
}
NS_IMETHODIMP MailUrl::GetHostPort(nsACString& aHostPort) {
  return GetUserPass(aHostPort);
}
NS_IMETHODIMP MailUrl::GetHost(nsACString& aHost) {
  return GetUserPass(aHost);
}
NS_IMETHODIMP MailUrl::GetAsciiHost(nsACString& aAsciiHost) {
  return GetUserPass(aAsciiHost);
}
NS_IMETHODIMP MailUrl::GetOriginCharset(nsACString& aOriginCharset) {
  return GetUserPass(aOriginCharset);
}
NS_IMETHODIMP MailUrl::GetPort(PRInt32* aPort) {
  NS_ENSURE_ARG_POINTER(aPort);
  *aPort = -1;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetPath(nsACString& aPath) {
  assign(aPath, path());
  return NS_OK;
}
NS_IMETHODIMP MailUrl::Equals(nsIURI* other, PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(other);
  NS_ENSURE_ARG_POINTER(_retval);
  nsCString otherSpec;
  nsresult rv = other->GetSpec(otherSpec);
  NS_ENSURE_SUCCESS(rv, rv);
  *_retval = toStd(otherSpec) == mSpec ? PR_TRUE : PR_FALSE;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::SchemeIs(const char* aScheme, PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(aScheme);
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = scheme() == aScheme ? PR_TRUE : PR_FALSE;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::Clone(nsIURI** _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = new MailUrl(mSpec);
  (*_retval)->AddRef();
  return NS_OK;
}
NS_IMETHODIMP MailUrl::SetSpec(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetScheme(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetUserPass(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetUsername(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetPassword(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetHostPort(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetHost(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetPort(PRInt32) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetPath(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::Resolve(const nsACString&, nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

// nsIURL
NS_IMETHODIMP MailUrl::GetFilePath(nsACString& aFilePath) {
  assign(aFilePath, filePath());
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetParam(nsACString& aParam) {
  return GetUserPass(aParam);
}
NS_IMETHODIMP MailUrl::GetQuery(nsACString& aQuery) {
  std::string p = path();
  std::size_t q = p.find('?');
  assign(aQuery, q == std::string::npos ? std::string() : p.substr(q + 1, p.find('#', q) - q - 1));
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetRef(nsACString& aRef) {
  std::string p = path();
  std::size_t hash = p.find('#');
  assign(aRef, hash == std::string::npos ? std::string() : p.substr(hash + 1));
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetDirectory(nsACString& aDirectory) {
  std::string file = filePath();
  assign(aDirectory, file.substr(0, file.rfind('/') + 1));
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetFileName(nsACString& aFileName) {
  std::string file = filePath();
  assign(aFileName, file.substr(file.rfind('/') + 1));
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetFileBaseName(nsACString& aFileBaseName) {
  std::string file = filePath();
  std::string name = file.substr(file.rfind('/') + 1);
  assign(aFileBaseName, name.substr(0, name.rfind('.')));
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetFileExtension(nsACString& aFileExtension) {
  std::string file = filePath();
  std::string name = file.substr(file.rfind('/') + 1);
  std::size_t dot = name.rfind('.');
  assign(aFileExtension, dot == std::string::npos ? std::string() : name.substr(dot + 1));
  return NS_OK;
}
NS_IMETHODIMP MailUrl::SetFilePath(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetParam(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetQuery(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetRef(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetDirectory(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetFileName(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetFileBaseName(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetFileExtension(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetCommonBaseSpec(nsIURI*, nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetRelativeSpec(nsIURI*, nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

// nsIMsgMailNewsUrl: the header sink, the window and the running state are kept; the rest
// belongs to a full mail session.
NS_IMETHODIMP MailUrl::GetMsgHeaderSink(nsIMsgHeaderSink** aMsgHeaderSink) {
  NS_ENSURE_ARG_POINTER(aMsgHeaderSink);
  *aMsgHeaderSink = mHeaderSink.get();
  if (*aMsgHeaderSink)
    (*aMsgHeaderSink)->AddRef();
  return NS_OK;
}
// The sink is kept as given, without asking it for the interface again, as the mail code does.
NS_IMETHODIMP MailUrl::SetMsgHeaderSink(nsIMsgHeaderSink* aMsgHeaderSink) {
  mHeaderSink = aMsgHeaderSink;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetMsgWindow(nsIMsgWindow** aMsgWindow) {
  NS_ENSURE_ARG_POINTER(aMsgWindow);
  *aMsgWindow = mMsgWindow.get();
  if (*aMsgWindow)
    (*aMsgWindow)->AddRef();
  return NS_OK;
}
NS_IMETHODIMP MailUrl::SetMsgWindow(nsIMsgWindow* aMsgWindow) {
  mMsgWindow = aMsgWindow;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::SetUrlState(PRBool runningUrl, nsresult) {
  mRunning = runningUrl;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetUrlState(PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = mRunning;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::GetSuppressErrorMsgs(PRBool* aSuppressErrorMsgs) {
  NS_ENSURE_ARG_POINTER(aSuppressErrorMsgs);
  *aSuppressErrorMsgs = mSuppressErrors;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::SetSuppressErrorMsgs(PRBool aSuppressErrorMsgs) {
  mSuppressErrors = aSuppressErrorMsgs;
  return NS_OK;
}
NS_IMETHODIMP MailUrl::RegisterListener(nsIUrlListener*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::UnRegisterListener(nsIUrlListener*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetBaseURI(nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetErrorMessage(char**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetErrorMessage(const char*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetServer(nsIMsgIncomingServer**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetFolder(nsIMsgFolder**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetFolder(nsIMsgFolder*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetStatusFeedback(nsIMsgStatusFeedback**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetStatusFeedback(nsIMsgStatusFeedback*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetMimeHeaders(nsIMimeHeaders**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetMimeHeaders(nsIMimeHeaders*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetLoadGroup(nsILoadGroup**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetSearchSession(nsIMsgSearchSession**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetSearchSession(nsIMsgSearchSession*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetUpdatingFolder(PRBool*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetUpdatingFolder(PRBool) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetAddToMemoryCache(PRBool*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetAddToMemoryCache(PRBool) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetMsgIsInLocalCache(PRBool*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetMsgIsInLocalCache(PRBool) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetMemCacheEntry(nsICacheEntryDescriptor**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetMemCacheEntry(nsICacheEntryDescriptor*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetImageCacheSession(nsICacheSession**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::SetImageCacheSession(nsICacheSession*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::CacheCacheEntry(nsICacheEntryDescriptor*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::RemoveCacheEntry(nsICacheEntryDescriptor*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::IsUrlType(PRUint32, PRBool*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailUrl::GetSaveAsListener(PRBool, nsIFileSpec*, nsIStreamListener**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

} // namespace mailhost
