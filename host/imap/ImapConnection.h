// One connection to an IMAP server: login, folders, fetches, keywords and moves.
#pragma once

#include "ImapError.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <strings.h>
#include <vector>

namespace mailhost {

// How the connection is secured, with the host's own numbers (mail.server.*.socketType).
enum class SocketType { Plain = 0, StartTls = 2, Tls = 3 };

struct ImapEndpoint {
  std::string host;
  std::uint16_t port = 993;
  SocketType socketType = SocketType::Tls;
  std::string user;
  std::string caFile;    // trusted besides the system's authorities; empty: those only
  bool insecure = false; // take any certificate (only ever by the user's explicit choice)
};

struct FolderState {
  std::uint32_t uidValidity = 0;
  std::uint32_t uidNext = 0;
  std::uint64_t highestModSeq = 0; // 0 without CONDSTORE
};

struct MessageFlags {
  std::uint32_t uid = 0;
  std::vector<std::string> keywords; // as the server spells them ("$Junk")
  bool seen = false;
  bool deleted = false;
  std::string messageId; // when asked for: the Message-ID field's value, empty when none
  bool has(const std::string& keyword) const {
    return std::any_of(keywords.begin(), keywords.end(), [&](const std::string& k) {
      return strcasecmp(k.c_str(), keyword.c_str()) == 0;
    });
  }
};

// One logged-in IMAP session. Every failure throws ImapError with one line that names the
// server; a dropped connection is ImapErrorKind::Connect. Messages are only ever read with
// BODY.PEEK, so nothing here marks mail \Seen.
class ImapConnection {
public:
  ImapConnection() = default;
  virtual ~ImapConnection() = default;
  ImapConnection(const ImapConnection&) = delete;
  ImapConnection& operator=(const ImapConnection&) = delete;

  virtual bool hasCapability(const char* name) const = 0;
  virtual const ImapEndpoint& endpoint() const = 0;

  // Selects a folder (read-write), with CONDSTORE where offered.
  virtual FolderState select(const std::string& folder) = 0;
  virtual const std::string& selected() const = 0;

  // In the selected folder: the flags of the messages with UID >= firstUid (and their
  // Message-IDs when asked for); with changedSince, only those whose flags changed after that
  // MODSEQ.
  virtual std::vector<MessageFlags> flags(std::uint32_t firstUid, std::uint64_t changedSince = 0,
                                          bool withMessageId = false) = 0;
  // The selected folder's UIDs, ascending, of the messages that carry neither of the keywords
  // nor \Deleted. Read a page at a time, so that only the UIDs grow with the folder.
  virtual std::vector<std::uint32_t> uidsWithout(const std::string& keyword1,
                                                 const std::string& keyword2) = 0;
  // The whole message, unread state untouched. ImapErrorKind::NoSuchMessage when it is gone.
  virtual std::string fetch(std::uint32_t uid) = 0;
  virtual void setKeyword(std::uint32_t uid, const std::string& keyword, bool on) = 0;
  // Moves a message to another folder: MOVE where offered, else COPY, \Deleted and UID EXPUNGE
  // (or, without UIDPLUS, leaves the copy's original marked \Deleted for the user's client).
  virtual void move(std::uint32_t uid, const std::string& destination) = 0;

  // The folder marked \Junk (special use), else "Junk"; created when missing.
  virtual std::string junkFolder() = 0;

  // Waits for news about the selected folder: IDLE when offered, else a NOOP after the wait.
  // Returns early when wakeFd becomes readable. Throws ImapError when the connection drops.
  virtual void waitForChanges(std::chrono::seconds timeout, int wakeFd) = 0;
};

// Connects, secures the connection as asked (checking the certificate against the host name)
// and logs in. The client code is loaded on first use (see ImapModule.h): when it cannot be,
// ImapErrorKind::Unavailable says why.
std::unique_ptr<ImapConnection> openImapConnection(const ImapEndpoint& endpoint,
                                                   const std::string& password);

} // namespace mailhost
