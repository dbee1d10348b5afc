// The message services a host command registers and the loop that runs their deliveries.
#pragma once

#include "EventLoop.h"
#include "ImapService.h"
#include "ImapSessions.h"
#include "MailboxService.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace mailhost {

// What a host command needs to have messages streamed: the main loop, the mailbox service and
// the IMAP service, registered under their contract IDs for as long as this object lives, with
// the reason of every delivery that failed kept by message URI.
class MailServices {
public:
  // Throws std::runtime_error when the service cannot be registered (no runtime running).
  explicit MailServices(MailRoot root = MailRoot());
  ~MailServices(); // runs what is left in the loop, then unregisters the service
  MailServices(const MailServices&) = delete;
  MailServices& operator=(const MailServices&) = delete;

  EventLoop& loop() { return mLoop; }
  const MailStore& store() const { return mService->store(); }
  ImapSessions& imap() { return mImap; }
  const std::map<std::string, std::string>& failures() const { return mFailures; }

  // Has the messages of `uris` read and converted ahead, in that order, on another thread,
  // for the deliveries asked for until stopReadAhead (which joins that thread).
  void readAhead(std::vector<std::string> uris);
  void stopReadAhead();

private:
  EventLoop mLoop;
  std::map<std::string, std::string> mFailures;
  nsCOMPtr<MailboxService> mService;
  nsCOMPtr<nsIFactory> mFactory;
  ImapSessions mImap;
  nsCOMPtr<ImapService> mImapService;
  nsCOMPtr<nsIFactory> mImapFactory;
  std::shared_ptr<MessageReadAhead> mReadAhead;
};

} // namespace mailhost
