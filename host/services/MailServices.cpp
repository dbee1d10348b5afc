#include "MailServices.h"

#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace mailhost {

MailServices::MailServices(MailRoot root)
    : mService(new MailboxService(mLoop, MailStore(std::move(root)),
                                  [this](const std::string& uri, const std::string& why) {
                                    mFailures.emplace(uri, why);
                                  })) {
  nsresult rv = registerMailboxService(mService, getter_AddRefs(mFactory));
  if (NS_SUCCEEDED(rv)) {
    mImapService =
        new ImapService(mLoop, mImap, [this](const std::string& uri, const std::string& why) {
          mFailures.emplace(uri, why);
        });
    rv = registerImapService(mImapService, getter_AddRefs(mImapFactory));
    if (NS_FAILED(rv))
      unregisterMailboxService(mFactory);
  }
  if (NS_FAILED(rv)) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08x", rv);
    throw std::runtime_error(std::string("cannot register the message services (") + code + ")");
  }
}

void MailServices::readAhead(std::vector<std::string> uris) {
  stopReadAhead();
  // The read-ahead works on a copy of the store: a folder it would list lasts for one batch
  // unless the store itself holds its index.
  if (!uris.empty())
    mService->store().keepIndexFor(uris.front());
  try {
    mReadAhead = std::make_shared<MessageReadAhead>(mService->store(), std::move(uris));
  } catch (const std::system_error&) {
    return; // no thread to be had: every message is read on demand, as it would be anyway
  }
  mService->setReadAhead(mReadAhead);
}

void MailServices::stopReadAhead() {
  if (!mReadAhead)
    return;
  mService->setReadAhead(nullptr);
  mReadAhead->stop();
  mReadAhead = nullptr;
}

MailServices::~MailServices() {
  stopReadAhead();
  mLoop.runUntilIdle();
  unregisterImapService(mImapFactory);
  unregisterMailboxService(mFactory);
}

} // namespace mailhost
