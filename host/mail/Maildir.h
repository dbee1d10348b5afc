#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace mailhost {

// One message of a Maildir folder. Its key is the file's unique name: the file name up to the
// first ':' (the part after it holds flags that change when a message is read or moved from
// new/ to cur/), so the key, and the message's URI, stay the same for the message's life.
struct MaildirEntry {
  std::string key;
  std::filesystem::path file;
};

// True for a directory with a cur/ or new/ subdirectory.
bool isMaildir(const std::filesystem::path& dir);

// The messages of cur/ and new/, sorted by key (hidden files and subdirectories skipped).
// Throws MailError(NotFound / AccessDenied) when the folder cannot be listed.
std::vector<MaildirEntry> listMaildir(const std::filesystem::path& dir);

// The file of the message with that key; throws MailError(NoSuchMessage) when there is none.
std::filesystem::path findMaildirMessage(const std::filesystem::path& dir, std::string_view key);

} // namespace mailhost
