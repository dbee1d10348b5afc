// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
#include "unix/Registry.h"

#include "unix/AtomicFile.h"
#include "unix/Files.h"
#include "unix/FolderWatch.h"
#include "unix/ProcessTable.h"
#include "unix/PropertyList.h"
#include "unix/RuntimeFolder.h"
#include "unix/Syscalls.h"
#include "unix/ThisProcess.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <optional>
#include <poll.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace os {

namespace {

constexpr const char* kEntrySuffix = ".plist";

std::optional<RegistryEntry> parseEntry(const std::string& path) {
  auto plist = PropertyList::readDictionary(path);
  if (!plist)
    return std::nullopt;
  auto pid = plist->unsignedInteger("ProcessID");
  auto start = plist->unsignedInteger("StartTime");
  auto signature = plist->unsignedInteger("Signature");
  auto socket = plist->string("Socket");
  if (!pid || !start || !signature || !socket || *pid == 0 || *pid > 0x7FFFFFFF)
    return std::nullopt;
  RegistryEntry entry;
  entry.pid = static_cast<pid_t>(*pid);
  entry.startTime = *start;
  entry.signature = static_cast<std::uint32_t>(*signature);
  entry.socketPath = *socket;
  entry.name = plist->string("Name").value_or("");
  entry.bundlePath = plist->string("BundlePath").value_or("");
  return entry;
}

// Parsing a property list costs far more than the exchange it serves, and entries are written
// once and then only read: parsed entries are kept, keyed by the file's identity.
struct FileIdentity {
  dev_t device;
  ino_t inode;
  off_t size;
  timespec modified;
  bool operator==(const FileIdentity& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

struct CachedEntry {
  FileIdentity identity;
  std::optional<RegistryEntry> entry;
};

std::optional<RegistryEntry> readEntry(const std::string& path) {
  static std::mutex lock;
  static auto* cache = new std::map<std::string, CachedEntry>;
  struct stat info {};
  if (calls().stat(path.c_str(), &info) != 0) {
    std::lock_guard guard(lock);
    cache->erase(path);
    return std::nullopt;
  }
  FileIdentity identity{info.st_dev, info.st_ino, info.st_size, info.st_mtim};
  {
    std::lock_guard guard(lock);
    if (auto found = cache->find(path); found != cache->end() && found->second.identity == identity)
      return found->second.entry;
  }
  auto entry = parseEntry(path);
  std::lock_guard guard(lock);
  if (cache->size() > 1024)
    cache->clear();
  (*cache)[path] = CachedEntry{identity, entry};
  return entry;
}

} // namespace

std::string entryPath(const std::string& folder, pid_t pid) {
  return folder + "/" + std::to_string(pid) + kEntrySuffix;
}

std::string socketPathFor(const std::string& folder, pid_t pid) {
  return folder + "/" + std::to_string(pid) + ".socket";
}

bool writeEntry(const std::string& folder, const RegistryEntry& entry, std::string* error) {
  auto plist = PropertyList::newDictionary();
  plist.set("ProcessID", static_cast<std::uint64_t>(entry.pid));
  plist.set("StartTime", entry.startTime);
  plist.set("Signature", static_cast<std::uint64_t>(entry.signature));
  plist.set("Name", entry.name);
  plist.set("BundlePath", entry.bundlePath);
  plist.set("Socket", entry.socketPath);
  return writeFileAtomically(entryPath(folder, entry.pid), plist.toXML(), error);
}

void removeEntry(const std::string& folder, pid_t pid) {
  // The socket first: once the entry is gone, nothing of the application is left.
  calls().unlink(socketPathFor(folder, pid).c_str());
  calls().unlink(entryPath(folder, pid).c_str());
}

namespace {

// Reads the folder afresh: every entry parsed (or taken from the parse cache), checked against
// its process, and removed when that process is gone.
std::vector<RegistryEntry> scanFolder(const std::string& folder) {
  std::vector<RegistryEntry> live;
  std::vector<std::string> names;
  for (auto& name : folderEntries(folder))
    if (name.size() > 6 && name.ends_with(kEntrySuffix) && name[0] != '.')
      names.push_back(name);

  for (const auto& name : names) {
    std::string path = folder + "/" + name;
    auto entry = readEntry(path);
    if (entry && processIsAlive(entry->pid, entry->startTime)) {
      live.push_back(*entry);
      continue;
    }
    // Read again before removing: the pid may have just registered anew under the same name.
    auto again = readEntry(path);
    if (!again || !processIsAlive(again->pid, again->startTime)) {
      calls().unlink(path.c_str());
      if (again)
        calls().unlink(socketPathFor(folder, again->pid).c_str());
    }
  }
  std::sort(live.begin(), live.end(), [](const RegistryEntry& a, const RegistryEntry& b) {
    return a.startTime != b.startTime ? a.startTime < b.startTime : a.pid < b.pid;
  });
  return live;
}

// The reading of an empty or missing folder, one for every caller.
LiveEntries none() {
  static const auto* empty = new LiveEntries(std::make_shared<const std::vector<RegistryEntry>>());
  return *empty;
}

// Every exchange looks the registry up, so the last reading is kept for as long as it is
// provably current: a process descriptor per entry reports at once when its process ends, and
// the folder's own times change whenever an entry is added, replaced or removed. A folder
// changed too recently to be told apart from a change still to come is read again each time.
// A process that looks often watches the folder instead (inotify, set before the folder is read):
// then a lookup is one poll of the watch and the process descriptors together, and any event in
// the folder, its own mode or owner changing included, has it read and checked again. A short-
// lived process never watches: an inotify instance costs its process milliseconds at exit.
struct LiveCache {
  std::mutex lock;
  bool current = false;
  std::string folder;
  struct stat status {};
  LiveEntries entries = none();
  std::vector<int> processes;       // one descriptor per entry, kept so their number stays steady
  std::optional<FolderWatch> watch; // on `folder`
  pid_t watchOwner = 0;      // a forked child reading the watch would take its parent's events
  bool watchRefused = false; // inotify_init1 or inotify_add_watch failed for `folder`
  unsigned lookups = 0;

  void forget() {
    for (int fd : processes)
      calls().close(fd);
    processes.clear();
    entries = none();
    current = false;
  }
  void stopWatching() { watch.reset(); }
};

constexpr unsigned kLookupsBeforeWatching = 32;

// Longer than the coarsest timestamp step of a file system a runtime folder may be on (one
// second), so that a later change can never carry the time already seen.
constexpr std::int64_t kSettledAfterNs = 1'100'000'000;

bool sameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool sameFolderState(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_mode == b.st_mode &&
         sameTime(a.st_mtim, b.st_mtim) && sameTime(a.st_ctim, b.st_ctim);
}

bool olderThan(const timespec& time, const timespec& limit) {
  return time.tv_sec < limit.tv_sec ||
         (time.tv_sec == limit.tv_sec && time.tv_nsec < limit.tv_nsec);
}

// Whether any of the descriptors is readable (a process ended, an event in the folder) or the
// poll fails, which is not trusted either.
bool anyReady(int watch, const std::vector<int>& processes) {
  std::vector<pollfd> watched;
  watched.reserve(processes.size() + 1);
  if (watch >= 0)
    watched.push_back({watch, POLLIN, 0});
  for (int fd : processes)
    watched.push_back({fd, POLLIN, 0});
  if (watched.empty())
    return false;
  return calls().poll(watched.data(), watched.size(), 0) != 0;
}

} // namespace

LiveEntries liveEntries() {
  static auto* cache = new LiveCache; // outlives every static destructor that might use it
  std::lock_guard guard(cache->lock);
  if (cache->lookups <= kLookupsBeforeWatching)
    ++cache->lookups;
  if (cache->watch && cache->watchOwner != thisProcessID())
    cache->stopWatching(); // this process's copy only: the parent's watch goes on
  if (cache->watch && cache->current && cache->folder == runtimeFolderPath()) {
    if (!anyReady(cache->watch->descriptor(), cache->processes))
      return cache->entries;
    if (!cache->watch->drain())
      cache->stopWatching();
  }

  timespec scanned{};
  clock_gettime(CLOCK_REALTIME, &scanned);
  struct stat status {};
  auto folder = runtimeFolder(false, &status);
  if (!folder) {
    cache->forget();
    cache->stopWatching();
    return none();
  }
  if (cache->folder != *folder) {
    cache->stopWatching();
    cache->watchRefused = false;
  }
  bool toWatch = !cache->watch && !cache->watchRefused && cache->lookups > kLookupsBeforeWatching;
  if (!cache->watch && !toWatch && cache->current && cache->folder == *folder &&
      sameFolderState(cache->status, status) && !anyReady(-1, cache->processes))
    return cache->entries;

  if (toWatch) {
    cache->watch.emplace(*folder, FolderWatch::Scope::entriesAndItself);
    cache->watchOwner = thisProcessID();
    cache->watchRefused = cache->watch->descriptor() < 0;
    if (cache->watchRefused)
      cache->stopWatching();
  }
  cache->forget();
  cache->entries = std::make_shared<const std::vector<RegistryEntry>>(scanFolder(*folder));
  cache->folder = *folder;
  cache->status = status;
  bool trusted = true;
  for (const auto& entry : *cache->entries) {
    // Opened after the check, so the process is checked once more against a reused pid.
    int fd = openProcess(entry.pid);
    if (fd >= 0)
      cache->processes.push_back(fd);
    trusted = trusted && fd >= 0 && processIsAlive(entry.pid, entry.startTime);
  }
  if (cache->watch) {
    cache->current = trusted;
    return cache->entries;
  }
  std::int64_t settledNs =
      static_cast<std::int64_t>(scanned.tv_sec) * 1'000'000'000 + scanned.tv_nsec - kSettledAfterNs;
  timespec settled{static_cast<time_t>(settledNs / 1'000'000'000),
                   static_cast<long>(settledNs % 1'000'000'000)};
  cache->current =
      trusted && olderThan(status.st_mtim, settled) && olderThan(status.st_ctim, settled);
  return cache->entries;
}

std::optional<RegistryEntry> findLiveEntry(pid_t pid) {
  LiveEntries entries = liveEntries();
  for (auto& entry : *entries)
    if (entry.pid == pid)
      return entry;
  return std::nullopt;
}

std::optional<RegistryEntry> findLiveEntryBySignature(std::uint32_t signature) {
  LiveEntries entries = liveEntries();
  for (auto& entry : *entries)
    if (entry.signature == signature)
      return entry;
  return std::nullopt;
}

} // namespace os
