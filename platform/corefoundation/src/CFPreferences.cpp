// Application preferences: one property list file per application in
// <home>/Library/Preferences. A read compares the file's identity (device, inode, size,
// modification time to the nanosecond) with what was parsed and parses it again only when that
// changed. Once a process has asked a few dozen times, the folder is watched (inotify); then a file
// that was read and has had no event in the folder since is not even looked at, and the event
// queue itself is read at most once per short interval: a log level asked a dozen times a message
// costs no system call, and an edit from outside still reaches a long-running process within the
// interval. What this process sets is seen at once (pending values, and a synchronized file is
// read again).
#include "PropertyList.h"

#include "CFStringInternal.h"

#include <unix/AtomicFile.h>
#include <unix/Files.h>
#include <unix/Syscalls.h>
#include <unix/ThisProcess.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

const CFStringRef kCFPreferencesAnyApplication = CFSTR("kCFPreferencesAnyApplication");
const CFStringRef kCFPreferencesCurrentApplication = CFSTR("kCFPreferencesCurrentApplication");
const CFStringRef kCFPreferencesAnyHost = CFSTR("kCFPreferencesAnyHost");
const CFStringRef kCFPreferencesCurrentHost = CFSTR("kCFPreferencesCurrentHost");
const CFStringRef kCFPreferencesAnyUser = CFSTR("kCFPreferencesAnyUser");
const CFStringRef kCFPreferencesCurrentUser = CFSTR("kCFPreferencesCurrentUser");

namespace {

constexpr size_t kMaxFileSize = 64 * 1024 * 1024;

struct Domain {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified{};
  CFDictionaryRef values = nullptr; // NULL: the file said nothing usable
  bool unchanged = false;           // no event in the watched folder since it was last looked at
};

// Events in the preferences folder. Any event there makes every file be looked at again.
struct FolderWatch {
  int fd = -1;
  std::string folder;         // watched, or empty
  bool folderMissing = false; // only a folder above it is watched, for its making
  std::int64_t readAtNs = 0;  // when the event queue was last read (coarse monotonic clock)
  pid_t owner = 0;            // a forked child reading the queue would take its parent's events
};

// How long the events of a watched folder may wait before they are taken in.
constexpr std::int64_t kEventQueueIntervalNs = 20'000'000;

std::int64_t coarseNowNs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now); // read from memory, not a system call
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

struct LastPath {
  CFStringRef application = nullptr; // an immutable copy
  std::string folder;
  std::string path;
};

struct State {
  std::mutex lock;
  LastPath lastPath;
  std::unordered_map<std::string, Domain> files;                   // by path
  std::unordered_map<std::string, CFMutableDictionaryRef> pending; // by path; kCFNull removes
  FolderWatch watch;
  unsigned asksUnwatched = 0;
  uid_t homeOwner = static_cast<uid_t>(-1);
  std::string homeFromPasswords; // of homeOwner: read once, not at every call
  std::string folderHome;        // the home `folder` was made from
  std::string folder;            // its preferences folder, or empty before the first ask
};

State& state() {
  // Never destroyed, so that preferences stay usable from other static destructors.
  static auto* shared = new State();
  return *shared;
}

// The caller holds s.lock.
std::string_view homeDirectory(State& s) {
  // secure_getenv: a set-user-ID program does not take its home from the environment.
  const char* fixed = secure_getenv("CFFIXED_USER_HOME");
  if (fixed != nullptr && *fixed != '\0') {
    return fixed;
  }
  if (s.homeOwner != os::effectiveUser()) {
    s.homeFromPasswords = os::homeFromPasswordDatabase();
    s.homeOwner = os::effectiveUser();
  }
  if (!s.homeFromPasswords.empty()) {
    return s.homeFromPasswords;
  }
  const char* fromEnvironment = std::getenv("HOME");
  return fromEnvironment != nullptr && *fromEnvironment != '\0' ? fromEnvironment : "/";
}

std::string domainName(CFStringRef applicationID) {
  if (applicationID == nullptr) {
    return std::string();
  }
  if (CFEqual(applicationID, kCFPreferencesAnyApplication)) {
    return ".GlobalPreferences";
  }
  if (CFEqual(applicationID, kCFPreferencesCurrentApplication)) {
    return program_invocation_short_name;
  }
  return cf::toUTF8(applicationID);
}

// The caller holds s.lock. A log level is asked for many times a message: the folder is made
// again only when the home it comes from changed.
const std::string& preferencesFolder(State& s) {
  std::string_view home = homeDirectory(s);
  if (s.folder.empty() || home != s.folderHome) {
    s.folderHome.assign(home);
    s.folder = s.folderHome + "/Library/Preferences";
  }
  return s.folder;
}

std::string preferencesPath(CFStringRef applicationID, const std::string& folder) {
  std::string name = domainName(applicationID);
  if (name.empty() || name.find('/') != std::string::npos) {
    return std::string();
  }
  return folder + "/" + name + ".plist";
}

bool sameFile(const Domain& domain, const struct stat& st) {
  return domain.device == st.st_dev && domain.inode == st.st_ino && domain.size == st.st_size &&
         domain.modified.tv_sec == st.st_mtim.tv_sec &&
         domain.modified.tv_nsec == st.st_mtim.tv_nsec;
}

// A new dictionary from the file (NULL when it is missing, unreadable, corrupt or holds
// something other than a dictionary); *info receives the identity of what was read.
CFDictionaryRef readDomainFile(const std::string& path, struct stat* info) {
  std::string bytes;
  if (!os::readSmallFile(path, kMaxFileSize, bytes, info)) {
    return nullptr;
  }
  CFPropertyListRef object = cf::propertyListFromBytes(bytes.data(), bytes.size());
  if (object != nullptr && CFGetTypeID(object) != CFDictionaryGetTypeID()) {
    CFRelease(object);
    object = nullptr;
  }
  return static_cast<CFDictionaryRef>(object);
}

void forgetWatch(State& s) {
  if (s.watch.fd >= 0) {
    close(s.watch.fd);
  }
  s.watch = FolderWatch();
  for (auto& entry : s.files) {
    entry.second.unchanged = false;
  }
}

// Watches the folder, or while it does not exist the nearest folder above it that does, for
// the folder's making.
void startWatch(State& s, const std::string& folder) {
  constexpr uint32_t kChanges = IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE |
                                IN_DELETE_SELF | IN_MODIFY | IN_MOVE_SELF | IN_MOVED_FROM |
                                IN_MOVED_TO | IN_ONLYDIR;
  int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (fd < 0) {
    return;
  }
  if (inotify_add_watch(fd, folder.c_str(), kChanges) >= 0) {
    s.watch = {fd, folder, false, coarseNowNs(), os::thisProcessID()};
    return;
  }
  for (std::string above = folder; errno == ENOENT && above.size() > 1;) {
    size_t slash = above.rfind('/');
    if (slash == std::string::npos) {
      break; // a relative home: nothing above it is known
    }
    above.resize(std::max<size_t>(slash, 1));
    if (inotify_add_watch(fd, above.c_str(), IN_CREATE | IN_MOVED_TO | IN_ONLYDIR) >= 0) {
      // Made meanwhile: watched after all, and the event above only makes files be looked at.
      bool made = inotify_add_watch(fd, folder.c_str(), kChanges) >= 0;
      s.watch = {fd, folder, !made, coarseNowNs(), os::thisProcessID()};
      return;
    }
  }
  close(fd); // every file is looked at, as without a watch
}

// Whether the folder is watched once the events so far are taken in; after any event every
// file is looked at again.
bool watching(State& s, const std::string& folder) {
  if (s.watch.fd >= 0 && (s.watch.folder != folder || s.watch.owner != os::thisProcessID())) {
    forgetWatch(s);
  }
  if (s.watch.fd < 0) {
    // An inotify instance costs its process milliseconds at exit (the kernel waits out a grace
    // period to free it): a process that asks only a few times, a delivery filter's, looks at
    // the file every time instead.
    constexpr unsigned kAsksBeforeWatching = 64;
    if (s.asksUnwatched < kAsksBeforeWatching) {
      ++s.asksUnwatched;
      return false;
    }
    startWatch(s, folder);
    return s.watch.fd >= 0; // nothing is marked unchanged yet
  }
  std::int64_t now = coarseNowNs();
  if (now - s.watch.readAtNs < kEventQueueIntervalNs) {
    return true;
  }
  s.watch.readAtNs = now;
  alignas(inotify_event) char events[4096];
  bool changed = false;
  bool gone = s.watch.folderMissing;
  ssize_t got = 0;
  while ((got = read(s.watch.fd, events, sizeof events)) > 0) {
    changed = true;
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      gone = gone || (event->mask & (IN_IGNORED | IN_Q_OVERFLOW | IN_DELETE_SELF | IN_MOVE_SELF));
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
  if ((changed && gone) || (got < 0 && errno != EAGAIN && errno != EINTR)) {
    forgetWatch(s);
    startWatch(s, folder);
    return s.watch.fd >= 0;
  }
  if (changed) {
    for (auto& entry : s.files) {
      entry.second.unchanged = false;
    }
  }
  return true;
}

// The file's values (not retained; valid while the lock is held), read again only if the file
// changed since the last read.
CFDictionaryRef domainValues(State& s, const std::string& folder, const std::string& path) {
  bool watched = watching(s, folder);
  if (watched && s.watch.folderMissing) {
    return nullptr;
  }
  auto found = s.files.find(path);
  if (watched && found != s.files.end() && found->second.unchanged) {
    return found->second.values;
  }
  // Only a plain file is trusted to the watch: a link's target, or a file with other names, may
  // be changed elsewhere.
  struct stat st {};
  bool named = watched && os::calls().lstat(path.c_str(), &st) == 0;
  bool trusted = named && S_ISREG(st.st_mode) && st.st_nlink == 1;
  if (!trusted && os::calls().stat(path.c_str(), &st) != 0) {
    // Missing: remembered as such while the folder is watched and nothing there names it.
    Domain& domain = s.files[path];
    CFRelease(domain.values);
    domain = Domain();
    domain.unchanged = watched && !named;
    return nullptr;
  }
  if (found != s.files.end() && found->second.values != nullptr && sameFile(found->second, st)) {
    found->second.unchanged = trusted;
    return found->second.values;
  }
  struct stat readInfo {};
  CFDictionaryRef values = readDomainFile(path, &readInfo);
  Domain& domain = s.files[path];
  CFRelease(domain.values);
  domain = Domain();
  if (values == nullptr) {
    // Unusable files are not remembered: a repaired or re-permitted file is read next time,
    // or, while the folder is watched, once it changes.
    domain.unchanged = trusted;
    return nullptr;
  }
  domain.values = values;
  domain.device = readInfo.st_dev;
  domain.inode = readInfo.st_ino;
  domain.size = readInfo.st_size;
  domain.modified = readInfo.st_mtim;
  domain.unchanged = trusted;
  return values;
}

CFPropertyListRef copyValue(CFStringRef key, CFStringRef applicationID) {
  if (key == nullptr) {
    return nullptr;
  }
  if (applicationID == nullptr) {
    return nullptr;
  }
  State& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  const std::string& folder = preferencesFolder(s);
  // The same application asked again (a log level is asked for many times a message): its path
  // is not built again.
  LastPath& last = s.lastPath;
  if (last.application == nullptr || last.folder != folder ||
      (last.application != applicationID && !CFEqual(last.application, applicationID))) {
    if (last.application != nullptr) {
      CFRelease(last.application);
    }
    // A copy: a mutable string may change after the call (an immutable one is only retained).
    last = {CFStringCreateCopy(nullptr, applicationID), folder,
            preferencesPath(applicationID, folder)};
  }
  const std::string& path = last.path;
  if (path.empty()) {
    return nullptr;
  }
  auto pending = s.pending.find(path);
  if (pending != s.pending.end()) {
    const void* value = nullptr;
    if (CFDictionaryGetValueIfPresent(pending->second, key, &value)) {
      return value == kCFNull ? nullptr : CFRetain(value);
    }
  }
  CFDictionaryRef values = domainValues(s, folder, path);
  return values != nullptr ? CFRetain(CFDictionaryGetValue(values, key)) : nullptr;
}

bool isSpace(UniChar c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// The whole string as a decimal integer: optional leading white space, an optional sign,
// digits, nothing after. Out-of-range values clamp to the 32-bit limits.
bool scanInteger(CFStringRef string, CFIndex& result) {
  const cf::StringStorage& text = string->storage;
  size_t i = 0;
  size_t n = text.length();
  while (i < n && isSpace(text.at(i))) {
    ++i;
  }
  bool negative = false;
  if (i < n && (text.at(i) == '+' || text.at(i) == '-')) {
    negative = text.at(i) == '-';
    ++i;
  }
  size_t digitsFrom = i;
  long long value = 0;
  while (i < n && text.at(i) >= '0' && text.at(i) <= '9') {
    if (value <= static_cast<long long>(INT_MAX) + 1) {
      value = value * 10 + (text.at(i) - '0');
    }
    ++i;
  }
  if (i == digitsFrom || i != n) {
    return false;
  }
  value = negative ? -value : value;
  result = static_cast<CFIndex>(value > INT_MAX ? INT_MAX : value < INT_MIN ? INT_MIN : value);
  return true;
}

bool makeFolder(const std::string& path) {
  return os::calls().mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

struct Merge {
  CFMutableDictionaryRef target;
};

void applyChange(const void* key, const void* value, void* context) {
  auto* merge = static_cast<Merge*>(context);
  if (value == kCFNull) {
    CFDictionaryRemoveValue(merge->target, key);
  } else {
    CFDictionarySetValue(merge->target, key, value);
  }
}

} // namespace

CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef applicationID,
                                        Boolean* keyExistsAndHasValidFormat) {
  CFIndex result = 0;
  bool valid = false;
  if (CFPropertyListRef value = copyValue(key, applicationID)) {
    CFTypeID type = CFGetTypeID(value);
    if (type == CFNumberGetTypeID() && !CFNumberIsFloatType(static_cast<CFNumberRef>(value))) {
      CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberCFIndexType, &result);
      valid = true;
    } else if (type == CFStringGetTypeID()) {
      valid = scanInteger(static_cast<CFStringRef>(value), result);
    }
    CFRelease(value);
  }
  if (!valid) {
    result = 0;
  }
  if (keyExistsAndHasValidFormat != nullptr) {
    *keyExistsAndHasValidFormat = valid;
  }
  return result;
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID) {
  State& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  std::string path = preferencesPath(applicationID, preferencesFolder(s));
  if (key == nullptr || path.empty()) {
    return;
  }
  CFMutableDictionaryRef& changes = s.pending[path];
  if (changes == nullptr) {
    changes = CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks,
                                        &kCFTypeDictionaryValueCallBacks);
  }
  CFDictionarySetValue(changes, key, value != nullptr ? value : kCFNull);
}

Boolean CFPreferencesAppSynchronize(CFStringRef applicationID) {
  State& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  const std::string& folder = preferencesFolder(s);
  const std::string& home = s.folderHome;
  std::string path = preferencesPath(applicationID, folder);
  if (path.empty()) {
    return false;
  }
  auto cached = s.files.find(path);
  if (cached != s.files.end()) {
    CFRelease(cached->second.values);
    s.files.erase(cached);
  }
  auto pending = s.pending.find(path);
  if (pending == s.pending.end()) {
    return true;
  }
  // Merge into what is on disk now, so values another program wrote meanwhile survive.
  CFDictionaryRef current = readDomainFile(path, nullptr);
  CFMutableDictionaryRef merged =
      current != nullptr ? CFDictionaryCreateMutableCopy(nullptr, 0, current)
                         : CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                     &kCFTypeDictionaryValueCallBacks);
  CFRelease(current);
  Merge merge{merged};
  CFDictionaryApplyFunction(pending->second, applyChange, &merge);
  std::string xml;
  bool ok = cf::propertyListToXML(merged, xml) && makeFolder(home + "/Library") &&
            makeFolder(folder) && os::writeFileAtomically(path, xml);
  CFRelease(merged);
  if (ok) {
    CFRelease(pending->second);
    s.pending.erase(pending);
    // The folder may have just been made: the next ask takes in its events, not a late one.
    s.watch.readAtNs = -kEventQueueIntervalNs;
  }
  return ok;
}
