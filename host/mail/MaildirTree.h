// Maildir++ trees: subfolders and the junk folder inside a top Maildir.
#pragma once

#include <filesystem>
#include <vector>

namespace mailhost {

// Maildir++ trees: a Maildir (the top, the inbox) holds its subfolders directly, each a
// Maildir named ".Name"; a nested folder is ".Parent.Child", at the same level.

// The junk folder's name inside a top Maildir.
inline constexpr const char* kJunkFolderName = ".Junk";

// True for a Maildir named ".Name" directly inside another Maildir.
bool isMaildirSubfolder(const std::filesystem::path& maildir);

// The tree's top: the enclosing Maildir of a subfolder, else the Maildir itself (a plain
// Maildir is the top of its own tree).
std::filesystem::path topMaildir(const std::filesystem::path& maildir);

// The junk folder of a Maildir's tree: ".Junk" in its top.
std::filesystem::path defaultJunkFolder(const std::filesystem::path& maildir);

// The folders below a Maildir, by name: for a top, every subfolder; for a subfolder ".A", the
// subfolders ".A.*" beside it.
std::vector<std::filesystem::path> maildirSubfolders(const std::filesystem::path& maildir);

// Makes a Maildir for the owner alone (cur/, new/, tmp/, all 0700), with the "maildirfolder"
// marker file when it is a subfolder of another. An existing Maildir is left as it is; its
// parent must exist. Throws MailError.
void makeMaildir(const std::filesystem::path& maildir);

} // namespace mailhost
