// Moving a message file from one Maildir to another in one rename.
#pragma once

#include <filesystem>
#include <string_view>

namespace mailhost {

// Moving a message file from one Maildir to another is one rename(2), so that at every moment
// the message is in exactly one of the two folders. The file keeps its place (new/ stays new/,
// cur/ stays cur/) and the flags part of its name (":2,FLAGS"); only its key may change, when
// the destination already has a message under that key.

// Where `file` (in a Maildir's cur/ or new/) goes in `toMaildir` under `key`.
std::filesystem::path maildirDestination(const std::filesystem::path& file,
                                         const std::filesystem::path& toMaildir,
                                         std::string_view key);

// Renames without ever replacing a file. Throws MailError: NotFound when `from` is gone, Io for
// a name already taken or for another file system (messages are never copied).
void renameMessageFile(const std::filesystem::path& from, const std::filesystem::path& to);

// Makes the renames of a directory's entries durable. Throws MailError(Io).
void syncDirectory(const std::filesystem::path& dir);

} // namespace mailhost
