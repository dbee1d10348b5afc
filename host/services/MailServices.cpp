#include "MailServices.h"

#include <cstdio>
#include <stdexcept>

namespace mailhost {

MailServices::MailServices(MailRoot root)
    : mService(new MailboxService(mLoop, MailStore(std::move(root)),
                                  [this](const std::string& uri, const std::string& why) {
                                    mFailures.emplace(uri, why);
                                  })) {
  nsresult rv = registerMailboxService(mService, getter_AddRefs(mFactory));
  if (NS_FAILED(rv)) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08x", rv);
    throw std::runtime_error(std::string("cannot register the mailbox service (") + code + ")");
  }
}

MailServices::~MailServices() {
  mLoop.runUntilIdle();
  unregisterMailboxService(mFactory);
}

} // namespace mailhost
