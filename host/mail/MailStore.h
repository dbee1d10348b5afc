// The local mail store: message URIs and the listing of mbox files, Maildirs and message files.
#pragma once

#include "MailRoot.h"
#include "ReadOnlyFile.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mailhost {

// Message URIs as the local mail service writes them:
//   a message in a folder  mailbox-message://nobody@Local%20Folders/<folder path>#<key>
//   a single message file  file:///<absolute path>?type=application/x-message-display
// The folder path is given by the MailRoot; the key is the byte offset of the message's
// "From " line in an mbox, or the unique name of its file in a Maildir.
inline constexpr std::string_view kMessageUriPrefix = "mailbox-message://nobody@Local%20Folders/";
inline constexpr std::string_view kFolderUriPrefix = "mailbox://nobody@Local%20Folders/";
inline constexpr std::string_view kMessageDisplayType = "type=application/x-message-display";

// A message named by URI, resolved as far as the URI's text allows (nothing is opened).
struct MessageRef {
  enum class Kind { FolderMessage, MessageFile };
  std::string uri;
  Kind kind = Kind::MessageFile;
  std::filesystem::path path; // the mbox file or Maildir folder, or the message file
  std::string key;            // FolderMessage only
};

// Where the bytes of one message lie.
struct MessageExtent {
  std::filesystem::path file;
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
};

// A message located with its file left open, so that it is opened once to be found and read.
struct OpenedMessage {
  MessageExtent extent;
  std::unique_ptr<ReadOnlyFile> file;
};

class MaildirIndex;
class NameIndex;

// The messages of one folder (or the one message of a message file) in folder order, as listed
// at one moment, each named only when asked for: a folder may hold tens of thousands.
class FolderListing {
public:
  enum class Kind { Mbox, Maildir, MessageFile, MessageFiles };

  Kind kind() const;
  const std::filesystem::path& path() const { return mPath; }
  std::size_t size() const;
  MessageRef at(std::size_t i) const;
  // The file that holds message i as listed: the mbox, the Maildir's message file, the message
  // file.
  std::string fileAt(std::size_t i) const;

private:
  friend class MailStore;
  std::filesystem::path mPath;
  std::string mUriPrefix; // the URI of a message up to its key
  std::shared_ptr<const MaildirIndex> mMaildir;
  std::optional<std::string> mOnlyKey;        // one message file of the Maildir was named: its key
  std::filesystem::path mOnlyFile;            // and its file
  std::shared_ptr<const NameIndex> mMboxKeys; // as fixed-width decimals, so they sort as numbers
  std::string mFileUri;                       // a message file: its one URI
  std::shared_ptr<const NameIndex> mFiles;    // a folder of message files: their names
};

// The local mail folders as seen through their URIs. Opens mail files read-only, always.
class MailStore {
public:
  explicit MailStore(MailRoot root = MailRoot());

  const MailRoot& root() const { return mRoot; }

  // Every message of a folder (mbox file, Maildir folder, directory of *.eml or *.msg message
  // files) or the one message of a message file, in folder order. A regular file is a message
  // file when it is named *.eml or *.msg, or when it is neither empty nor has a "From "
  // separator line; a file in a Maildir's cur/ or new/ is that Maildir's message (its URI is
  // the folder's, so that a path printed for it names the same message). Throws MailError.
  std::vector<MessageRef> messagesIn(const std::filesystem::path& path) const;
  FolderListing list(const std::filesystem::path& path) const;

  // Reads a URI's text. Throws MailError(BadUri) for anything that is not a message URI of
  // the forms above (also accepted: a mailbox: URL carrying type=application/x-message-display).
  MessageRef parseUri(std::string_view uri) const;

  // Finds the message's bytes. Throws MailError (NotFound, AccessDenied, NoSuchMessage, ...).
  // A Maildir folder is listed once and its index kept; it is listed again when a message is
  // not where the index has it (moved to cur/, renamed for its flags, deleted).
  MessageExtent locate(const MessageRef& message) const;
  // The same, with the file that holds it open.
  OpenedMessage open(const MessageRef& message) const;

  // Lists the Maildir that holds the message of `uri`, unless it is listed already, and keeps
  // its index: a copy of this store made for another thread then starts with it instead of
  // listing the folder again. Anything else, or a URI that names nothing, is left alone.
  void keepIndexFor(std::string_view uri) const;

  // The mail URL of a message as the mailbox service names it: mailbox:///<path>?number=<key>
  std::string mailUrlFor(const MessageRef& message) const;

  std::string messageUri(const std::filesystem::path& folder, std::string_view key) const;
  static std::string messageFileUri(const std::filesystem::path& file);

private:
  std::shared_ptr<const MaildirIndex> maildirIndex(const std::filesystem::path& dir,
                                                   bool relist) const;
  OpenedMessage openInMaildir(const MessageRef& message) const;

  MailRoot mRoot;
  // What the lookups of one run have learnt: the Maildir folders listed, and the folder path
  // of the URI path last resolved (a batch names one folder message after message).
  mutable std::map<std::filesystem::path, std::shared_ptr<const MaildirIndex>> mMaildirs;
  mutable std::string mLastUriPath;
  mutable std::filesystem::path mLastFolder;
};

} // namespace mailhost
