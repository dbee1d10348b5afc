// Bundles: a folder with Contents/Info.plist (or a flat folder with Info.plist). The main
// bundle is the ".app" folder around the running executable, or the executable's folder.
#include "PropertyList.h"

#include "CFRuntime.h"

#include <climits>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

const CFStringRef kCFBundleInfoDictionaryVersionKey = CFSTR("CFBundleInfoDictionaryVersion");
const CFStringRef kCFBundleExecutableKey = CFSTR("CFBundleExecutable");
const CFStringRef kCFBundleIdentifierKey = CFSTR("CFBundleIdentifier");
const CFStringRef kCFBundleVersionKey = CFSTR("CFBundleVersion");
const CFStringRef kCFBundleNameKey = CFSTR("CFBundleName");

namespace {

bool isFolder(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string parentOf(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos || slash == 0 ? std::string("/") : path.substr(0, slash);
}

std::string lastComponent(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

UInt32 fourCharCode(CFTypeRef value) {
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) {
    return 0;
  }
  std::string text = cf::toUTF8(static_cast<CFStringRef>(value));
  if (text.size() != 4) {
    return 0;
  }
  return static_cast<UInt32>(static_cast<unsigned char>(text[0])) << 24 |
         static_cast<UInt32>(static_cast<unsigned char>(text[1])) << 16 |
         static_cast<UInt32>(static_cast<unsigned char>(text[2])) << 8 |
         static_cast<unsigned char>(text[3]);
}

} // namespace

struct __CFBundle final : cf::Object {
  __CFBundle(CFAllocatorRef allocator, std::string folder, std::string executable)
      : Object(cf::kBundleTypeID, allocator), path(std::move(folder)),
        executablePath(std::move(executable)) {}
  ~__CFBundle() override { CFRelease(info); }

  CFStringRef copyDescription() const override {
    return cf::makeString("CFBundle " + cf::pointerText(this) + " <" + path + "> (not loaded)");
  }

  CFDictionaryRef infoDictionary() {
    std::lock_guard<std::mutex> guard(lock);
    if (info == nullptr) {
      std::string bytes;
      for (const char* place : {"/Contents/Info.plist", "/Info.plist"}) {
        if (cf::readSmallFile(path + place, 16 * 1024 * 1024, bytes, nullptr)) {
          CFPropertyListRef object = cf::propertyListFromBytes(bytes.data(), bytes.size());
          if (object != nullptr && CFGetTypeID(object) == CFDictionaryGetTypeID()) {
            info = static_cast<CFDictionaryRef>(object);
            break;
          }
          CFRelease(object);
        }
      }
      if (info == nullptr) {
        info = CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                  &kCFTypeDictionaryValueCallBacks);
      }
    }
    return info;
  }

  std::string path;
  std::string executablePath; // known for the main bundle
  std::mutex lock;
  CFDictionaryRef info = nullptr;
};

CFTypeID CFBundleGetTypeID(void) {
  return cf::kBundleTypeID;
}

CFBundleRef CFBundleGetMainBundle(void) {
  static CFBundleRef mainBundle = [] {
    char buffer[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    std::string executable = n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
    std::string folder = executable.empty() ? std::string("/") : parentOf(executable);
    if (lastComponent(folder) == "MacOS" && lastComponent(parentOf(folder)) == "Contents") {
      folder = parentOf(parentOf(folder));
    }
    return new __CFBundle(nullptr, folder, executable);
  }();
  return mainBundle;
}

CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef bundleURL) {
  if (bundleURL == nullptr) {
    return nullptr;
  }
  char path[PATH_MAX];
  if (!CFURLGetFileSystemRepresentation(bundleURL, true, reinterpret_cast<UInt8*>(path),
                                        sizeof path) ||
      !isFolder(path)) {
    return nullptr;
  }
  return new __CFBundle(allocator, path, std::string());
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) {
  return CFURLCreateFromFileSystemRepresentation(
      nullptr, reinterpret_cast<const UInt8*>(bundle->path.data()),
      static_cast<CFIndex>(bundle->path.size()), true);
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle) {
  std::string executable = bundle->executablePath;
  if (executable.empty()) {
    CFTypeRef name = CFDictionaryGetValue(bundle->infoDictionary(), kCFBundleExecutableKey);
    if (name == nullptr || CFGetTypeID(name) != CFStringGetTypeID()) {
      return nullptr;
    }
    std::string file = cf::toUTF8(static_cast<CFStringRef>(name));
    executable = isFolder(bundle->path + "/Contents") ? bundle->path + "/Contents/MacOS/" + file
                                                      : bundle->path + "/" + file;
  }
  return CFURLCreateFromFileSystemRepresentation(nullptr,
                                                 reinterpret_cast<const UInt8*>(executable.data()),
                                                 static_cast<CFIndex>(executable.size()), false);
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle) {
  return bundle->infoDictionary();
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key) {
  return CFDictionaryGetValue(bundle->infoDictionary(), key);
}

CFStringRef CFBundleGetIdentifier(CFBundleRef bundle) {
  CFTypeRef identifier = CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleIdentifierKey);
  return identifier != nullptr && CFGetTypeID(identifier) == CFStringGetTypeID()
             ? static_cast<CFStringRef>(identifier)
             : nullptr;
}

void CFBundleGetPackageInfo(CFBundleRef bundle, UInt32* packageType, UInt32* packageCreator) {
  const UInt32 unknown = 0x3F3F3F3F; // '????'
  UInt32 type =
      fourCharCode(CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundlePackageType")));
  UInt32 creator =
      fourCharCode(CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundleSignature")));
  std::string pkgInfo;
  if ((type == 0 || creator == 0) &&
      cf::readSmallFile(bundle->path + "/Contents/PkgInfo", 64, pkgInfo, nullptr) &&
      pkgInfo.size() >= 8) {
    auto code = [&pkgInfo](size_t at) {
      return static_cast<UInt32>(static_cast<unsigned char>(pkgInfo[at])) << 24 |
             static_cast<UInt32>(static_cast<unsigned char>(pkgInfo[at + 1])) << 16 |
             static_cast<UInt32>(static_cast<unsigned char>(pkgInfo[at + 2])) << 8 |
             static_cast<unsigned char>(pkgInfo[at + 3]);
    };
    type = type != 0 ? type : code(0);
    creator = creator != 0 ? creator : code(4);
  }
  if (packageType != nullptr) {
    *packageType = type != 0 ? type : unknown;
  }
  if (packageCreator != nullptr) {
    *packageCreator = creator != 0 ? creator : unknown;
  }
}
