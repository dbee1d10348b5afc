// Untrusted bytes as an application's preferences file (written by another program or by hand):
// reading it must not crash, and when the application changes one value and saves, every other
// value the file held must come back unchanged, since the save merges into what is on disk.
#include <CoreFoundation/CoreFoundation.h>

#include "FuzzScratch.h"
#include "PropertyList.h"

#include <unix/AtomicFile.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path& preferencesFile() {
  static const auto* file = new fs::path([] {
    setenv("CFFIXED_USER_HOME", fuzzScratch().c_str(), 1);
    fs::create_directories(fuzzScratch() / "Library" / "Preferences");
    return fuzzScratch() / "Library" / "Preferences" / "org.example.fuzz.plist";
  }());
  return *file;
}

CFDictionaryRef readBack(const fs::path& path) {
  std::string bytes;
  if (!os::readSmallFile(path, 1 << 26, bytes, nullptr))
    std::abort();
  CFPropertyListRef object = cf::propertyListFromBytes(bytes.data(), bytes.size());
  if (!object || CFGetTypeID(object) != CFDictionaryGetTypeID())
    std::abort();
  return static_cast<CFDictionaryRef>(object);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fs::path& path = preferencesFile();
  // A new file each time (written beside and renamed), so no earlier reading is taken for it.
  fs::path temporary = path.string() + ".new";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  fs::rename(temporary, path);

  CFStringRef application = CFSTR("org.example.fuzz");
  CFStringRef counter = CFSTR("LaunchCount");
  Boolean valid = false;
  CFIndex count = CFPreferencesGetAppIntegerValue(counter, application, &valid);
  if (!valid && count != 0)
    std::abort();

  CFPropertyListRef original = cf::propertyListFromBytes(reinterpret_cast<const char*>(data), size);
  bool isDictionary = original && CFGetTypeID(original) == CFDictionaryGetTypeID();
  CFIndex next = count == std::numeric_limits<CFIndex>::max() ? 0 : count + 1;
  CFNumberRef value = CFNumberCreate(nullptr, kCFNumberCFIndexType, &next);
  CFPreferencesSetAppValue(counter, value, application);
  // Whatever could be read can be written back.
  if (!CFPreferencesAppSynchronize(application))
    std::abort();
  CFDictionaryRef saved = readBack(path);
  CFMutableDictionaryRef expected =
      isDictionary
          ? CFDictionaryCreateMutableCopy(nullptr, 0, static_cast<CFDictionaryRef>(original))
          : CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                      &kCFTypeDictionaryValueCallBacks);
  CFDictionarySetValue(expected, counter, value);
  if (!CFEqual(saved, expected))
    std::abort();
  if (CFPreferencesGetAppIntegerValue(counter, application, &valid) != next || !valid)
    std::abort();
  CFRelease(expected);
  CFRelease(saved);
  CFRelease(value);
  if (original)
    CFRelease(original);
  return 0;
}
