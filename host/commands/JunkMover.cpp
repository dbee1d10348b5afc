#include "JunkMover.h"

#include "MailError.h"
#include "Maildir.h"
#include "MaildirMove.h"
#include "MaildirTree.h"

namespace fs = std::filesystem;

namespace mailhost {

namespace {

bool isJunkFolder(const fs::path& maildir) {
  return maildir.filename() == kJunkFolderName && isMaildirSubfolder(maildir);
}

} // namespace

JunkMover::JunkMover(const MailStore& store, JunkMoveLog& log, fs::path junkFolder)
    : mStore(store), mLog(log),
      mJunkFolder(junkFolder.empty() ? fs::path() : canonicalMailPath(junkFolder)) {}

fs::path JunkMover::junkFolderFor(const fs::path& maildir) const {
  return mJunkFolder.empty() ? defaultJunkFolder(canonicalMailPath(maildir)) : mJunkFolder;
}

std::optional<MovedMessage> JunkMover::moveToJunk(const MessageRef& message) {
  fs::path junk = junkFolderFor(message.path);
  if (junk == message.path)
    return std::nullopt;
  return move(message, junk, JunkMove{message.path.string(), message.uri, 0}, std::nullopt);
}

std::optional<MovedMessage> JunkMover::moveBack(const MessageRef& message) {
  if (message.kind != MessageRef::Kind::FolderMessage || !isMaildir(message.path))
    return std::nullopt;
  std::optional<JunkMove> record = mLog.find(message.uri);
  if (!record && !isJunkFolder(message.path))
    return std::nullopt;
  fs::path to;
  if (record && isMaildir(record->folder))
    to = record->folder;
  else if (isMaildirSubfolder(message.path))
    to = topMaildir(message.path);
  else
    throw MailError(MailErrorKind::NotFound,
                    "the folder it came from, " + record->folder + ", is gone");
  return move(message, to, std::nullopt, record);
}

std::string JunkMover::freeKey(const fs::path& maildir, const std::string& key) {
  auto [it, listedNow] = mKeys.try_emplace(maildir);
  if (listedNow) {
    try {
      makeMaildir(maildir); // a missing folder, or one without new/ or tmp/
      it->second.listed = std::make_unique<MaildirIndex>(maildir);
    } catch (...) {
      mKeys.erase(it);
      throw;
    }
  }
  const DestinationKeys& keys = it->second;
  auto taken = [&](const std::string& k) {
    return keys.movedIn.contains(k) || keys.listed->fileFor(k).has_value();
  };
  std::string free = key;
  for (int n = 1; taken(free); ++n)
    free = key + "-" + std::to_string(n);
  return free;
}

MovedMessage JunkMover::move(const MessageRef& message, const fs::path& to,
                             const std::optional<JunkMove>& record,
                             const std::optional<JunkMove>& undo) {
  fs::path file = mStore.locate(message).file;
  std::string key = freeKey(to, message.key);
  std::string toUri = mStore.messageUri(to, key);
  mLog.refile(message.uri, toUri, record);
  fs::path destination;
  try {
    try {
      destination = maildirDestination(file, to, key);
      renameMessageFile(file, destination);
    } catch (const MailError& error) {
      if (error.kind() != MailErrorKind::NotFound)
        throw;
      // Renamed (read, flagged) or moved to cur/ since it was located.
      file = mStore.locate(message).file;
      destination = maildirDestination(file, to, key);
      renameMessageFile(file, destination);
    }
  } catch (...) {
    try {
      mLog.refile(toUri, message.uri, undo);
    } catch (...) {
      // The rename's failure is the one to report; the message is where it was.
    }
    throw;
  }
  mKeys[to].movedIn.insert(key);
  mTouched.insert(file.parent_path());
  mTouched.insert(destination.parent_path());
  return {destination, toUri};
}

std::vector<std::string> JunkMover::sync() {
  std::vector<std::string> failures;
  for (const fs::path& dir : mTouched) {
    try {
      syncDirectory(dir);
    } catch (const MailError& error) {
      failures.push_back(error.what());
    }
  }
  mTouched.clear();
  return failures;
}

} // namespace mailhost
