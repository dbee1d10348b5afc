// Application preferences: one property list file per application in
// <home>/Library/Preferences. Every read looks at the file's identity (device, inode, size,
// modification time to the nanosecond) and parses it again only when that changed, so an
// edit is seen at the next call while an unchanged file costs one stat().
#include "PropertyList.h"

#include "CFStringInternal.h"

#include <unix/AtomicFile.h>
#include <unix/Files.h>
#include <unix/Syscalls.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
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
};

struct State {
  std::mutex lock;
  std::unordered_map<std::string, Domain> files;                   // by path
  std::unordered_map<std::string, CFMutableDictionaryRef> pending; // by path; kCFNull removes
};

State& state() {
  // Never destroyed, so that preferences stay usable from other static destructors.
  static auto* shared = new State();
  return *shared;
}

std::string homeDirectory() {
  // secure_getenv: a set-user-ID program does not take its home from the environment.
  const char* fixed = secure_getenv("CFFIXED_USER_HOME");
  if (fixed != nullptr && *fixed != '\0') {
    return fixed;
  }
  if (std::string home = os::homeFromPasswordDatabase(); !home.empty()) {
    return home;
  }
  const char* home = std::getenv("HOME");
  return home != nullptr && *home != '\0' ? home : "/";
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

std::string preferencesFolder() {
  return homeDirectory() + "/Library/Preferences";
}

std::string preferencesPath(CFStringRef applicationID) {
  std::string name = domainName(applicationID);
  if (name.empty() || name.find('/') != std::string::npos) {
    return std::string();
  }
  return preferencesFolder() + "/" + name + ".plist";
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

// The file's values (not retained; valid while the lock is held), read again only if the file
// changed since the last read.
CFDictionaryRef domainValues(State& s, const std::string& path) {
  struct stat st {};
  if (os::calls().stat(path.c_str(), &st) != 0) {
    auto found = s.files.find(path);
    if (found != s.files.end()) {
      CFRelease(found->second.values);
      s.files.erase(found);
    }
    return nullptr;
  }
  auto found = s.files.find(path);
  if (found != s.files.end() && sameFile(found->second, st)) {
    return found->second.values;
  }
  struct stat readInfo {};
  CFDictionaryRef values = readDomainFile(path, &readInfo);
  if (values == nullptr) {
    // Unusable files are not remembered: a repaired or re-permitted file is read next time.
    if (found != s.files.end()) {
      CFRelease(found->second.values);
      s.files.erase(found);
    }
    return nullptr;
  }
  Domain& domain = s.files[path];
  CFRelease(domain.values);
  domain.values = values;
  domain.device = readInfo.st_dev;
  domain.inode = readInfo.st_ino;
  domain.size = readInfo.st_size;
  domain.modified = readInfo.st_mtim;
  return values;
}

CFPropertyListRef copyValue(CFStringRef key, CFStringRef applicationID) {
  if (key == nullptr) {
    return nullptr;
  }
  std::string path = preferencesPath(applicationID);
  if (path.empty()) {
    return nullptr;
  }
  State& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  auto pending = s.pending.find(path);
  if (pending != s.pending.end()) {
    const void* value = nullptr;
    if (CFDictionaryGetValueIfPresent(pending->second, key, &value)) {
      return value == kCFNull ? nullptr : CFRetain(value);
    }
  }
  CFDictionaryRef values = domainValues(s, path);
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
  std::string path = preferencesPath(applicationID);
  if (key == nullptr || path.empty()) {
    return;
  }
  State& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  CFMutableDictionaryRef& changes = s.pending[path];
  if (changes == nullptr) {
    changes = CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks,
                                        &kCFTypeDictionaryValueCallBacks);
  }
  CFDictionarySetValue(changes, key, value != nullptr ? value : kCFNull);
}

Boolean CFPreferencesAppSynchronize(CFStringRef applicationID) {
  std::string path = preferencesPath(applicationID);
  if (path.empty()) {
    return false;
  }
  State& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
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
  std::string folder = preferencesFolder();
  bool ok = cf::propertyListToXML(merged, xml) && makeFolder(homeDirectory() + "/Library") &&
            makeFolder(folder) && os::writeFileAtomically(path, xml);
  CFRelease(merged);
  if (ok) {
    CFRelease(pending->second);
    s.pending.erase(pending);
  }
  return ok;
}
