// Where Launch Services looks for applications, and how it reads paths of the local domain.
#pragma once

#include <string>
#include <vector>

namespace coreservices {

// $HOME, else the user's passwd entry.
std::string homeFolder();

// LS_SYSTEM_ROOT without a trailing '/', or "" for the real root.
std::string systemRoot();

// An absolute path under /Applications moved under LS_SYSTEM_ROOT; any other path unchanged.
std::string localDomainPath(const std::string& path);

// The user's Trash folders that exist, resolved (realpath).
std::vector<std::string> trashFolders();

// The search order of LSFindApplicationForInfo (folders that do not exist are left out).
std::vector<std::string> applicationSearchFolders();

// True when path (resolved) lies inside one of the Trash folders.
bool isInTrash(const std::string& path);

} // namespace coreservices
