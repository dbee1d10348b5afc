#include "HeldMessageService.h"

#include "MailError.h"

namespace mailhost {

namespace {

constexpr nsCID kHeldMessageServiceCID = {
    0x8f1d2c47, 0x3a5e, 0x4b9c, {0x9e, 0x21, 0x6d, 0x0b, 0x7a, 0x43, 0xc2, 0x15}};

} // namespace

HeldMessageService::HeldMessageService(EventLoop& loop, DeliveryFailureReporter reportFailure)
    : MessageService(loop, std::move(reportFailure)) {}

HeldMessageService::~HeldMessageService() = default;

std::string HeldMessageService::hold(const std::string& key, std::string bytes) {
  std::string uri = uriFor(key);
  mHeld[uri] = std::make_shared<const std::string>(std::move(bytes));
  return uri;
}

MessageSource HeldMessageService::source(std::string_view uri) {
  std::string prefix = std::string(kHeldMessageScheme) + ":";
  if (uri.size() <= prefix.size() || uri.substr(0, prefix.size()) != prefix)
    throw MailError(MailErrorKind::BadUri, "not a held message's URI");
  std::string text(uri);
  auto held = mHeld.find(text);
  std::shared_ptr<const std::string> bytes = held != mHeld.end() ? held->second : nullptr;
  // The message's mail URL: the held key as the number of the fetch.
  return {text, std::string(kHeldMessageScheme) + ":///?number=" + text.substr(prefix.size()),
          [bytes, text]() -> FilterForm {
            if (!bytes)
              throw MailError(MailErrorKind::NotFound, text + ": no such message is held");
            return toFilterForm(std::string_view(*bytes));
          }};
}

nsresult registerHeldMessageService(HeldMessageService* service, nsIFactory** factory) {
  return registerMessageService(service, kHeldMessageServiceCID, "Held Message Service",
                                {kHeldMessageServiceContractId}, factory);
}

nsresult unregisterHeldMessageService(nsIFactory* factory) {
  return unregisterMessageService(kHeldMessageServiceCID, factory);
}

} // namespace mailhost
