// The URL of one message fetch, carrying the header sink of the filter conversion.
#pragma once

#include <nsCOMPtr.h>
#include <nsIMsgHeaderSink.h>
#include <nsIMsgMailNewsUrl.h>
#include <nsIMsgWindow.h>

#include <string>

namespace mailhost {

// The URL of one message fetch ("mailbox:///<path>?number=<key>&header=filter"). It carries the
// header sink that the filter conversion reports to. The getters answer from the spec; the
// parts that belong to a full mail session (folders, servers, caches) are not implemented.
class MailUrl final : public nsIMsgMailNewsUrl {
public:
  explicit MailUrl(std::string spec);

  const std::string& spec() const { return mSpec; }
  nsIMsgHeaderSink* headerSink() const { return mHeaderSink.get(); }

  NS_DECL_ISUPPORTS

  // nsIURI
  NS_IMETHOD GetSpec(nsACString& aSpec) override;
  NS_IMETHOD SetSpec(const nsACString& aSpec) override;
  NS_IMETHOD GetPrePath(nsACString& aPrePath) override;
  NS_IMETHOD GetScheme(nsACString& aScheme) override;
  NS_IMETHOD SetScheme(const nsACString& aScheme) override;
  NS_IMETHOD GetUserPass(nsACString& aUserPass) override;
  NS_IMETHOD SetUserPass(const nsACString& aUserPass) override;
  NS_IMETHOD GetUsername(nsACString& aUsername) override;
  NS_IMETHOD SetUsername(const nsACString& aUsername) override;
  NS_IMETHOD GetPassword(nsACString& aPassword) override;
  NS_IMETHOD SetPassword(const nsACString& aPassword) override;
  NS_IMETHOD GetHostPort(nsACString& aHostPort) override;
  NS_IMETHOD SetHostPort(const nsACString& aHostPort) override;
  NS_IMETHOD GetHost(nsACString& aHost) override;
  NS_IMETHOD SetHost(const nsACString& aHost) override;
  NS_IMETHOD GetPort(PRInt32* aPort) override;
  NS_IMETHOD SetPort(PRInt32 aPort) override;
  NS_IMETHOD GetPath(nsACString& aPath) override;
  NS_IMETHOD SetPath(const nsACString& aPath) override;
  NS_IMETHOD Equals(nsIURI* other, PRBool* _retval) override;
  NS_IMETHOD SchemeIs(const char* scheme, PRBool* _retval) override;
  NS_IMETHOD Clone(nsIURI** _retval) override;
  NS_IMETHOD Resolve(const nsACString& relativePath, nsACString& _retval) override;
  NS_IMETHOD GetAsciiSpec(nsACString& aAsciiSpec) override;
  NS_IMETHOD GetAsciiHost(nsACString& aAsciiHost) override;
  NS_IMETHOD GetOriginCharset(nsACString& aOriginCharset) override;

  // nsIURL
  NS_IMETHOD GetFilePath(nsACString& aFilePath) override;
  NS_IMETHOD SetFilePath(const nsACString& aFilePath) override;
  NS_IMETHOD GetParam(nsACString& aParam) override;
  NS_IMETHOD SetParam(const nsACString& aParam) override;
  NS_IMETHOD GetQuery(nsACString& aQuery) override;
  NS_IMETHOD SetQuery(const nsACString& aQuery) override;
  NS_IMETHOD GetRef(nsACString& aRef) override;
  NS_IMETHOD SetRef(const nsACString& aRef) override;
  NS_IMETHOD GetDirectory(nsACString& aDirectory) override;
  NS_IMETHOD SetDirectory(const nsACString& aDirectory) override;
  NS_IMETHOD GetFileName(nsACString& aFileName) override;
  NS_IMETHOD SetFileName(const nsACString& aFileName) override;
  NS_IMETHOD GetFileBaseName(nsACString& aFileBaseName) override;
  NS_IMETHOD SetFileBaseName(const nsACString& aFileBaseName) override;
  NS_IMETHOD GetFileExtension(nsACString& aFileExtension) override;
  NS_IMETHOD SetFileExtension(const nsACString& aFileExtension) override;
  NS_IMETHOD GetCommonBaseSpec(nsIURI* aURIToCompare, nsACString& _retval) override;
  NS_IMETHOD GetRelativeSpec(nsIURI* aURIToCompare, nsACString& _retval) override;

  // nsIMsgMailNewsUrl
  NS_IMETHOD RegisterListener(nsIUrlListener* aUrlListener) override;
  NS_IMETHOD UnRegisterListener(nsIUrlListener* aUrlListener) override;
  NS_IMETHOD GetBaseURI(nsIURI** aBaseURI) override;
  NS_IMETHOD GetErrorMessage(char** aErrorMessage) override;
  NS_IMETHOD SetErrorMessage(const char* aErrorMessage) override;
  NS_IMETHOD SetUrlState(PRBool runningUrl, nsresult aStatusCode) override;
  NS_IMETHOD GetUrlState(PRBool* _retval) override;
  NS_IMETHOD GetServer(nsIMsgIncomingServer** aServer) override;
  NS_IMETHOD GetFolder(nsIMsgFolder** aFolder) override;
  NS_IMETHOD SetFolder(nsIMsgFolder* aFolder) override;
  NS_IMETHOD GetStatusFeedback(nsIMsgStatusFeedback** aStatusFeedback) override;
  NS_IMETHOD SetStatusFeedback(nsIMsgStatusFeedback* aStatusFeedback) override;
  NS_IMETHOD GetMsgWindow(nsIMsgWindow** aMsgWindow) override;
  NS_IMETHOD SetMsgWindow(nsIMsgWindow* aMsgWindow) override;
  NS_IMETHOD GetMimeHeaders(nsIMimeHeaders** aMimeHeaders) override;
  NS_IMETHOD SetMimeHeaders(nsIMimeHeaders* aMimeHeaders) override;
  NS_IMETHOD GetLoadGroup(nsILoadGroup** aLoadGroup) override;
  NS_IMETHOD GetSearchSession(nsIMsgSearchSession** aSearchSession) override;
  NS_IMETHOD SetSearchSession(nsIMsgSearchSession* aSearchSession) override;
  NS_IMETHOD GetUpdatingFolder(PRBool* aUpdatingFolder) override;
  NS_IMETHOD SetUpdatingFolder(PRBool aUpdatingFolder) override;
  NS_IMETHOD GetAddToMemoryCache(PRBool* aAddToMemoryCache) override;
  NS_IMETHOD SetAddToMemoryCache(PRBool aAddToMemoryCache) override;
  NS_IMETHOD GetMsgIsInLocalCache(PRBool* aMsgIsInLocalCache) override;
  NS_IMETHOD SetMsgIsInLocalCache(PRBool aMsgIsInLocalCache) override;
  NS_IMETHOD GetSuppressErrorMsgs(PRBool* aSuppressErrorMsgs) override;
  NS_IMETHOD SetSuppressErrorMsgs(PRBool aSuppressErrorMsgs) override;
  NS_IMETHOD GetMemCacheEntry(nsICacheEntryDescriptor** aMemCacheEntry) override;
  NS_IMETHOD SetMemCacheEntry(nsICacheEntryDescriptor* aMemCacheEntry) override;
  NS_IMETHOD GetImageCacheSession(nsICacheSession** aImageCacheSession) override;
  NS_IMETHOD SetImageCacheSession(nsICacheSession* aImageCacheSession) override;
  NS_IMETHOD CacheCacheEntry(nsICacheEntryDescriptor* cacheEntry) override;
  NS_IMETHOD RemoveCacheEntry(nsICacheEntryDescriptor* cacheEntry) override;
  NS_IMETHOD IsUrlType(PRUint32 type, PRBool* _retval) override;
  NS_IMETHOD GetSaveAsListener(PRBool addDummyEnvelope, nsIFileSpec* aFile,
                               nsIStreamListener** _retval) override;
  NS_IMETHOD GetMsgHeaderSink(nsIMsgHeaderSink** aMsgHeaderSink) override;
  NS_IMETHOD SetMsgHeaderSink(nsIMsgHeaderSink* aMsgHeaderSink) override;

private:
  ~MailUrl() = default;

  std::string scheme() const;
  std::string path() const;     // after the authority: "/file?query#ref"
  std::string filePath() const; // the path without query and ref

  std::string mSpec;
  nsCOMPtr<nsIMsgHeaderSink> mHeaderSink;
  nsCOMPtr<nsIMsgWindow> mMsgWindow;
  PRBool mRunning = PR_FALSE;
  PRBool mSuppressErrors = PR_FALSE;
};

} // namespace mailhost
