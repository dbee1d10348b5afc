#include "MailStore.h"

#include "MailError.h"
#include "Maildir.h"
#include "Mbox.h"
#include "NameIndex.h"
#include "ReadOnlyFile.h"
#include "UriEscape.h"

#include <algorithm>
#include <cctype>

namespace fs = std::filesystem;

namespace mailhost {

namespace {

bool hasMessageFileExtension(const fs::path& path) {
  std::string ext = path.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ext == ".eml" || ext == ".msg";
}

MailError badUri(std::string_view uri, const char* why) {
  return MailError(MailErrorKind::BadUri,
                   "not a message URI: \"" + std::string(uri) + "\" (" + why + ")");
}

// The path of a file: or mailbox: URI, after its "scheme://" and up to its query.
fs::path pathOfUrl(std::string_view uri, std::size_t schemeEnd) {
  std::string_view rest = uri.substr(schemeEnd);
  if (!rest.starts_with("//"))
    throw badUri(uri, "no \"//\" after the scheme");
  rest.remove_prefix(2);
  if (rest.starts_with("localhost/"))
    rest.remove_prefix(std::string_view("localhost").size());
  if (!rest.starts_with('/'))
    throw badUri(uri, "the path is not absolute");
  std::string path = percentUnescape(rest.substr(0, rest.find_first_of("?#")));
  if (path.find('\0') != std::string::npos)
    throw badUri(uri, "a NUL byte in the path");
  return fs::path(path).lexically_normal();
}

std::string_view wholeName(std::string_view name) {
  return name;
}

// The message files of a directory that is not a Maildir, by name; hidden files skipped.
std::shared_ptr<const NameIndex> messageFilesIn(const fs::path& dir) {
  auto files = std::make_shared<NameIndex>(dir, wholeName);
  std::error_code ec;
  for (const fs::directory_entry& entry : fs::directory_iterator(dir, ec)) {
    std::error_code typeError;
    std::string name = entry.path().filename().string();
    if (!name.starts_with('.') && hasMessageFileExtension(entry.path()) &&
        entry.is_regular_file(typeError))
      files->add(name);
  }
  if (ec)
    throw MailError(ec == std::errc::permission_denied ? MailErrorKind::AccessDenied
                                                       : MailErrorKind::Io,
                    dir.string() + ": " + ec.message());
  files->finish();
  return files;
}

// An mbox's keys as listed: byte offsets, written with leading zeros so that they sort as
// numbers.
constexpr std::size_t kKeyDigits = 20; // of the largest 64-bit number

std::string fixedWidthKey(std::uint64_t key) {
  std::string digits = std::to_string(key);
  return std::string(kKeyDigits - digits.size(), '0') + digits;
}

std::string plainKey(std::string_view fixedWidth) {
  std::size_t first = fixedWidth.find_first_not_of('0');
  return first == std::string_view::npos ? "0" : std::string(fixedWidth.substr(first));
}

// The Maildir whose cur/ or new/ holds a file, or an empty path.
fs::path maildirOfMessageFile(const fs::path& file) {
  fs::path sub = file.parent_path();
  if (sub.filename() != "cur" && sub.filename() != "new")
    return {};
  fs::path maildir = sub.parent_path();
  return isMaildir(maildir) ? maildir : fs::path();
}

bool isDecimal(std::string_view text) {
  return !text.empty() && text.size() <= 19 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

MailStore::MailStore(MailRoot root) : mRoot(std::move(root)) {}

std::string MailStore::messageUri(const fs::path& folder, std::string_view key) const {
  return std::string(kMessageUriPrefix) + mRoot.uriPathFor(folder) + "#" +
         percentEscape(key, false);
}

std::string MailStore::messageFileUri(const fs::path& file) {
  return "file://" + percentEscape(canonicalMailPath(file).string(), true) + "?" +
         std::string(kMessageDisplayType);
}

FolderListing::Kind FolderListing::kind() const {
  if (mMaildir)
    return Kind::Maildir;
  if (!mFileUri.empty())
    return Kind::MessageFile;
  return mUriPrefix.empty() ? Kind::MessageFiles : Kind::Mbox;
}

std::size_t FolderListing::size() const {
  switch (kind()) {
  case Kind::Maildir:
    return mOnlyKey ? 1 : mMaildir->size();
  case Kind::MessageFile:
    return 1;
  case Kind::MessageFiles:
    return mFiles->size();
  default:
    return mMboxKeys->size();
  }
}

MessageRef FolderListing::at(std::size_t i) const {
  if (!mFileUri.empty())
    return {mFileUri, MessageRef::Kind::MessageFile, mPath, {}};
  if (kind() == Kind::MessageFiles) {
    fs::path file = mPath / mFiles->name(i);
    return {MailStore::messageFileUri(file), MessageRef::Kind::MessageFile, file, {}};
  }
  std::string key = !mMaildir  ? plainKey(mMboxKeys->name(i))
                    : mOnlyKey ? *mOnlyKey
                               : mMaildir->key(i);
  return {mUriPrefix + percentEscape(key, false), MessageRef::Kind::FolderMessage, mPath,
          std::move(key)};
}

std::string FolderListing::fileAt(std::size_t i) const {
  if (mMaildir)
    return mOnlyKey ? mOnlyFile.native() : mMaildir->file(i);
  return kind() == Kind::MessageFiles ? mPath.native() + '/' + mFiles->name(i) : mPath.native();
}

std::vector<MessageRef> MailStore::messagesIn(const fs::path& given) const {
  FolderListing listing = list(given);
  std::vector<MessageRef> refs;
  refs.reserve(listing.size());
  for (std::size_t i = 0; i < listing.size(); ++i)
    refs.push_back(listing.at(i));
  return refs;
}

FolderListing MailStore::list(const fs::path& given) const {
  fs::path path = canonicalMailPath(given);
  std::error_code ec;
  fs::file_status status = fs::status(path, ec);
  if (status.type() == fs::file_type::not_found)
    throw MailError(MailErrorKind::NotFound, given.string() + ": no such file or directory");

  FolderListing listing;
  listing.mPath = path;
  if (status.type() == fs::file_type::directory) {
    if (!isMaildir(path)) {
      listing.mFiles = messageFilesIn(path);
      if (listing.mFiles->size() == 0)
        throw MailError(MailErrorKind::NotAFolder,
                        given.string() + ": a directory that is neither a Maildir (no cur/ or "
                                         "new/) nor a folder of message files (*.eml, *.msg)");
      return listing;
    }
    listing.mUriPrefix = std::string(kMessageUriPrefix) + mRoot.uriPathFor(path) + "#";
    listing.mMaildir = maildirIndex(path, true);
    return listing;
  }
  if (fs::path maildir = maildirOfMessageFile(path); !maildir.empty()) {
    // Files of one folder are often named one after the other: list it again only when the
    // index kept does not have this file.
    for (bool relist : {false, true}) {
      std::shared_ptr<const MaildirIndex> index = maildirIndex(maildir, relist);
      std::string key(maildirKeyOf(path.filename().string()));
      if (index->fileFor(key) == path) {
        listing.mPath = maildir;
        listing.mUriPrefix = std::string(kMessageUriPrefix) + mRoot.uriPathFor(maildir) + "#";
        listing.mMaildir = std::move(index);
        listing.mOnlyKey = std::move(key);
        listing.mOnlyFile = path;
        return listing;
      }
    }
  }

  ReadOnlyFile file(path);
  if (hasMessageFileExtension(path) || (file.size() > 0 && !looksLikeMbox(file))) {
    listing.mFileUri = messageFileUri(path);
    return listing;
  }
  listing.mUriPrefix = std::string(kMessageUriPrefix) + mRoot.uriPathFor(path) + "#";
  auto keys = std::make_shared<NameIndex>(path, wholeName);
  forEachMboxEntry(file, [&](const MboxEntry& entry) { keys->add(fixedWidthKey(entry.key)); });
  keys->finish();
  listing.mMboxKeys = std::move(keys);
  return listing;
}

std::shared_ptr<const MaildirIndex> MailStore::maildirIndex(const fs::path& dir,
                                                            bool relist) const {
  // Indexes that no listing holds any more are let go as another folder is listed, so that a
  // run over many folders does not keep the names of every folder it went through.
  if (relist || !mMaildirs.contains(dir))
    std::erase_if(mMaildirs, [&](const auto& entry) {
      return entry.second.use_count() == 1 && entry.first != dir;
    });
  std::shared_ptr<const MaildirIndex>& index = mMaildirs[dir];
  if (!index || relist) {
    try {
      index = std::make_shared<const MaildirIndex>(dir);
    } catch (...) {
      mMaildirs.erase(dir);
      throw;
    }
  }
  return index;
}

OpenedMessage MailStore::openInMaildir(const MessageRef& message) const {
  checkMaildirKey(message.key);
  bool listedNow = !mMaildirs.contains(message.path);
  std::shared_ptr<const MaildirIndex> index = maildirIndex(message.path, false);
  for (;;) {
    if (std::optional<fs::path> file = index->fileFor(message.key)) {
      try {
        auto opened = std::make_unique<ReadOnlyFile>(*file);
        MessageExtent extent{*file, 0, opened->size()};
        return {std::move(extent), std::move(opened)};
      } catch (const MailError& error) {
        if (error.kind() != MailErrorKind::NotFound || listedNow)
          throw;
      }
    } else if (listedNow) {
      throw MailError(MailErrorKind::NoSuchMessage,
                      message.path.string() + ": no message with key " + message.key);
    }
    // Another program moved, renamed or deleted messages since the folder was listed.
    index = maildirIndex(message.path, true);
    listedNow = true;
  }
}

void MailStore::keepIndexFor(std::string_view uri) const {
  try {
    MessageRef message = parseUri(uri);
    std::error_code ec;
    if (message.kind == MessageRef::Kind::FolderMessage &&
        (mMaildirs.contains(message.path) || fs::is_directory(message.path, ec)))
      maildirIndex(message.path, false);
  } catch (const MailError&) {
    // Whoever reads the message reports what is wrong with it.
  }
}

MessageRef MailStore::parseUri(std::string_view uri) const {
  if (uri.starts_with(kMessageUriPrefix)) {
    std::string_view rest = uri.substr(kMessageUriPrefix.size());
    std::size_t hash = rest.find('#');
    if (hash == std::string_view::npos)
      throw badUri(uri, "no '#' before the message key");
    std::string_view keyText = rest.substr(hash + 1);
    keyText = keyText.substr(0, keyText.find_first_of("?&"));
    std::string key = percentUnescape(keyText);
    if (key.empty())
      throw badUri(uri, "an empty message key");
    std::string_view uriPath = rest.substr(0, hash);
    if (uriPath != mLastUriPath || mLastUriPath.empty()) {
      mLastFolder = mRoot.folderPathFor(uriPath);
      mLastUriPath = uriPath;
    }
    return {std::string(uri), MessageRef::Kind::FolderMessage, mLastFolder, key};
  }
  std::size_t colon = uri.find(':');
  std::string_view scheme = uri.substr(0, colon == std::string_view::npos ? 0 : colon);
  if ((scheme == "file" || scheme == "mailbox") &&
      uri.find(kMessageDisplayType) != std::string_view::npos)
    return {std::string(uri), MessageRef::Kind::MessageFile, pathOfUrl(uri, colon + 1), {}};
  if (scheme == "mailbox-message")
    throw badUri(uri, "not in the Local Folders account");
  throw badUri(uri, "not a local message URI");
}

MessageExtent MailStore::locate(const MessageRef& message) const {
  return open(message).extent;
}

OpenedMessage MailStore::open(const MessageRef& message) const {
  if (message.kind == MessageRef::Kind::MessageFile) {
    auto file = std::make_unique<ReadOnlyFile>(message.path);
    MessageExtent extent{message.path, 0, file->size()};
    return {std::move(extent), std::move(file)};
  }
  std::error_code ec;
  if (mMaildirs.contains(message.path) || fs::is_directory(message.path, ec))
    return openInMaildir(message);
  auto file = std::make_unique<ReadOnlyFile>(message.path);
  if (!isDecimal(message.key))
    throw MailError(MailErrorKind::NoSuchMessage,
                    message.path.string() + ": no message with key " + message.key);
  MboxEntry entry = findMboxEntry(*file, std::stoull(message.key));
  MessageExtent extent{message.path, entry.start, entry.end - entry.start};
  return {std::move(extent), std::move(file)};
}

std::string MailStore::mailUrlFor(const MessageRef& message) const {
  std::string url = "mailbox://" + percentEscape(message.path.string(), true);
  if (message.kind == MessageRef::Kind::MessageFile)
    return url + "?" + std::string(kMessageDisplayType) + "&number=0";
  return url + "?number=" + percentEscape(message.key, false);
}

} // namespace mailhost
