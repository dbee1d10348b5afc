// The listener that passes the plug-in's verdicts on to the host's request.
#pragma once

#include <nsIMsgFilterPlugin.h>

#include <functional>
#include <string>

namespace mailhost {

// Where the host finds its junk-mail plug-in.
inline constexpr const char* kJunkMailPluginContractId =
    "@mozilla.org/messenger/filter-plugin;1?name=bayesianfilter";

// How the local folders store a verdict: 100 for junk, 0 for anything else.
inline int junkScoreFor(nsMsgJunkStatus classification) {
  return classification == 2 ? 100 : 0;
}

// The host's side of a junk-mail request: every OnMessageClassified goes to the callback until
// the request's owner lets go with detach(). A plug-in may keep the listener longer than the
// request (a request that never finished keeps it for ever); it then reaches nobody.
class ClassificationListener final : public nsIJunkMailClassificationListener {
public:
  using Callback = std::function<void(const std::string& uri, nsMsgJunkStatus classification)>;

  explicit ClassificationListener(Callback callback) : mCallback(std::move(callback)) {}
  void detach() { mCallback = nullptr; }

  NS_DECL_ISUPPORTS
  NS_IMETHOD OnMessageClassified(const char* aMsgURI, nsMsgJunkStatus aClassification) override;

private:
  ~ClassificationListener() = default;

  Callback mCallback;
};

} // namespace mailhost
