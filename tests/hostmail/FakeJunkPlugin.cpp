#include "FakeJunkPlugin.h"

#include <Carbon/Carbon.h>
#include <QuellbarkEvents.h>
#include <nsIMsgMessageService.h>
#include <nsServiceManagerUtils.h>

namespace {

OSErr answer(const AppleEvent* event, AppleEvent* reply, SRefCon refcon) {
  auto& plugin = *static_cast<FakeJunkPlugin*>(refcon);
  ++plugin.exchanges;
  if (plugin.filterError)
    return plugin.filterError;
  Size size = 0;
  DescType type;
  AESizeOfParam(event, kQuellbarkMessageParam, &type, &size);
  std::string capture(static_cast<std::size_t>(size), '\0');
  AEGetParamPtr(event, kQuellbarkMessageParam, typeChar, nullptr, capture.data(), size, nullptr);
  SInt16 score = capture.find("SPAM") != std::string::npos ? 100 : 0;
  return AEPutParamPtr(reply, keyDirectObject, typeSInt16, &score, sizeof score);
}

// One exchange with the spam filter, addressed to this process; the score, or 0 when the
// exchange failed or carried none.
SInt16 exchange(AEEventID id, const std::string& capture) {
  ProcessSerialNumber self{0, kCurrentProcess};
  AEAddressDesc target;
  AECreateDesc(typeProcessSerialNumber, &self, sizeof self, &target);
  AppleEvent event{typeNull, nullptr}, reply{typeNull, nullptr};
  AECreateAppleEvent(kQuellbarkEventClass, id, &target, kAutoGenerateReturnID, kAnyTransactionID,
                     &event);
  AEPutParamPtr(&event, kQuellbarkMessageParam, typeChar, capture.data(),
                static_cast<Size>(capture.size()));
  SInt16 score = 0;
  if (AESendMessage(&event, &reply, kAEWaitReply, kAEDefaultTimeout) == noErr &&
      AESizeOfParam(&reply, keyErrorNumber, nullptr, nullptr) == errAEDescNotFound)
    AEGetParamPtr(&reply, keyDirectObject, typeSInt16, nullptr, &score, sizeof score, nullptr);
  AEDisposeDesc(&reply);
  AEDisposeDesc(&event);
  AEDisposeDesc(&target);
  return score;
}

} // namespace

FakeJunkPlugin::FakeJunkPlugin() {
  AEInstallEventHandler(kQuellbarkEventClass, typeWildCard, NewAEEventHandlerUPP(answer), this,
                        false);
}

FakeJunkPlugin::~FakeJunkPlugin() {
  AERemoveEventHandler(kQuellbarkEventClass, typeWildCard, NewAEEventHandlerUPP(answer), false);
}

NS_IMPL_ISUPPORTS2(FakeJunkPlugin, nsIMsgFilterPlugin, nsIJunkMailPlugin)

NS_IMETHODIMP FakeJunkPlugin::GetShouldDownloadAllHeaders(PRBool* aResult) {
  *aResult = PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP FakeJunkPlugin::GetUserHasClassified(PRBool* aResult) {
  *aResult = PR_TRUE;
  return NS_OK;
}

// Finds the message service by the URI's scheme, as a plug-in does, and streams the message
// into a fresh capturing listener; `done` gets the capture when the stream stops.
nsresult FakeJunkPlugin::stream(const std::string& uri,
                                std::function<void(const std::string&)> done) {
  if (uri == refusedUri)
    return NS_ERROR_FAILURE;
  std::string scheme = uri.substr(0, uri.find(':'));
  if (scheme == "file" && uri.find("application/x-message-display") != std::string::npos)
    scheme = "mailbox";
  nsresult rv = NS_OK;
  nsCOMPtr<nsIMsgMessageService> service =
      do_GetService(("@mozilla.org/messenger/messageservice;1?type=" + scheme).c_str(), &rv);
  if (NS_FAILED(rv))
    return rv;
  nsCOMPtr<RecordingListener> listener = new RecordingListener;
  RecordingListener* raw = listener.get();
  nsCOMPtr<FakeJunkPlugin> self(this);
  listener->onStop = [this, self, raw, done] {
    streamStatuses.push_back(raw->stopStatuses.back());
    done(raw->capture);
  };
  return service->StreamMessage(uri.c_str(), static_cast<nsIStreamListener*>(listener.get()),
                                nullptr, nullptr, PR_TRUE, "filter", nullptr);
}

nsresult FakeJunkPlugin::classifyFrom(std::size_t index) {
  if (index >= mBatch.size())
    return NS_OK;
  std::string uri = mBatch[index];
  return stream(uri, [this, uri, index](const std::string& capture) {
    if (capture.find("NOREPORT") != std::string::npos)
      return;
    bool junk = exchange(kQuellbarkScoreEvent, capture) >= 50;
    mListener->OnMessageClassified(uri.c_str(), junk ? 2u : 1u);
    if (capture.find("BOGUS") != std::string::npos)
      mListener->OnMessageClassified("bogus://nothing", nsIJunkMailPlugin::GOOD);
    classifyFrom(index + 1);
  });
}

NS_IMETHODIMP FakeJunkPlugin::ClassifyMessage(const char* aMsgURI, nsIMsgWindow* aMsgWindow,
                                              nsIJunkMailClassificationListener* aListener) {
  return ClassifyMessages(1, &aMsgURI, aMsgWindow, aListener);
}

NS_IMETHODIMP FakeJunkPlugin::ClassifyMessages(PRUint32 aCount, const char** aMsgURIs,
                                               nsIMsgWindow*,
                                               nsIJunkMailClassificationListener* aListener) {
  mBatch.assign(aMsgURIs, aMsgURIs + aCount);
  requestSizes.push_back(aCount);
  mListener = aListener;
  return classifyFrom(0);
}

NS_IMETHODIMP
FakeJunkPlugin::SetMessageClassification(const char* aMsgURI, nsMsgJunkStatus aOldClassification,
                                         nsMsgJunkStatus aNewClassification, nsIMsgWindow*,
                                         nsIJunkMailClassificationListener* aListener) {
  std::string uri = aMsgURI;
  nsCOMPtr<nsIJunkMailClassificationListener> listener = aListener;
  nsresult rv = stream(uri, [uri, listener, aNewClassification](const std::string& capture) {
    exchange(aNewClassification == nsIJunkMailPlugin::JUNK ? kQuellbarkTrainSpamEvent
                                                           : kQuellbarkTrainGoodEvent,
             capture);
    if (listener)
      listener->OnMessageClassified(uri.c_str(), aNewClassification);
  });
  if (NS_SUCCEEDED(rv))
    trained.emplace_back(uri, aOldClassification, aNewClassification);
  return rv;
}
