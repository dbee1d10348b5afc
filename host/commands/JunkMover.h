// Moving Maildir messages into the junk folder and back, with their junk status and origin.
#pragma once

#include "JunkMoveLog.h"
#include "MailStore.h"
#include "Maildir.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace mailhost {

// Where a moved message is now.
struct MovedMessage {
  std::filesystem::path file;
  std::string uri;
};

// Moves Maildir messages into a junk folder and back. Each move re-files the message's junk
// status and the record of where it came from before the file is renamed (one rename, so the
// message is always in exactly one folder), and undoes that when the rename fails. A message
// renamed or moved by another program since it was listed is looked up again; one that is gone
// is reported and nothing is changed.
class JunkMover {
public:
  // `junkFolder`: the one junk folder for every message; empty for ".Junk" in each message's
  // Maildir tree.
  JunkMover(const MailStore& store, JunkMoveLog& log, std::filesystem::path junkFolder = {});

  std::filesystem::path junkFolderFor(const std::filesystem::path& maildir) const;

  // Moves a Maildir message into its junk folder (made when missing); nothing when it is there
  // already. Throws MailError or JunkStoreError, the message staying where it was.
  std::optional<MovedMessage> moveToJunk(const MessageRef& message);

  // Moves a message of a junk folder back to the folder it came from, as recorded, or else to
  // the top of the junk folder's tree (the inbox). Nothing for a message that is in no junk
  // folder. Throws as moveToJunk.
  std::optional<MovedMessage> moveBack(const MessageRef& message);

  // Makes the moves durable: syncs every directory they touched. Returns one line per failure.
  std::vector<std::string> sync();

private:
  MovedMessage move(const MessageRef& message, const std::filesystem::path& to,
                    const std::optional<JunkMove>& record, const std::optional<JunkMove>& undo);
  std::string freeKey(const std::filesystem::path& maildir, const std::string& key);

  const MailStore& mStore;
  JunkMoveLog& mLog;
  std::filesystem::path mJunkFolder;
  std::set<std::filesystem::path> mTouched;
  // Each destination's keys: as listed at its first move of the run (a junk folder may be large:
  // the index's memory stops growing with it), and those moved in since.
  struct DestinationKeys {
    std::unique_ptr<MaildirIndex> listed;
    std::set<std::string> movedIn;
  };
  std::map<std::filesystem::path, DestinationKeys> mKeys;
};

} // namespace mailhost
