// The disk and /proc failing under the files the platform keeps (the registry and the
// preferences write through the same atomic replacement): nothing half-written is ever
// left in place, and a process that cannot be looked up counts as gone.
#include <unix/AtomicFile.h>
#include <unix/ProcessTable.h>
#include <unix/Registry.h>
#include <unix/RuntimeFolder.h>
#include <unix/Syscalls.h>

#include "TempDir.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using testsupport::readFile;

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& item : fs::directory_iterator(folder))
    names.push_back(item.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

class FailingSystemTest : public ::testing::Test {
protected:
  testsupport::TempDir mTemp;
  const fs::path& mFolder = mTemp.path();
};

// Each call that can fail during a replacement, failing as a full or broken disk makes it fail.
struct Fault {
  const char* name;
  void (*install)(os::Syscalls&);
  const char* reported;
};

const Fault kFaults[] = {
    {"full disk on write",
     [](os::Syscalls& t) {
       t.write = [](int, const void*, std::size_t) -> ssize_t { return errno = ENOSPC, -1; };
     },
     "No space left on device"},
    {"flush fails", [](os::Syscalls& t) { t.fsync = [](int) { return errno = EIO, -1; }; },
     "Input/output error"},
    {"rename refused",
     [](os::Syscalls& t) { t.rename = [](const char*, const char*) { return errno = EXDEV, -1; }; },
     "Invalid cross-device link"},
};

TEST_F(FailingSystemTest, AFailedReplacementLeavesTheOldFileAndNoTemporary) {
  fs::path target = mFolder / "settings.plist";
  std::ofstream(target) << "old";
  for (const Fault& fault : kFaults) {
    SCOPED_TRACE(fault.name);
    os::Syscalls table = os::realSyscalls();
    fault.install(table);
    std::string error;
    {
      os::ScopedSyscalls failing(table);
      EXPECT_FALSE(os::writeFileAtomically(target.string(), std::string(100000, 'n'), &error));
    }
    EXPECT_NE(error.find(target.string()), std::string::npos) << error;
    EXPECT_NE(error.find(fault.reported), std::string::npos) << error;
    EXPECT_EQ(readFile(target), "old");
    EXPECT_EQ(namesIn(mFolder), std::vector<std::string>{"settings.plist"});
  }
}

TEST_F(FailingSystemTest, InterruptedAndShortWritesStillReplaceTheWholeFile) {
  os::Syscalls table = os::realSyscalls();
  table.write = [](int fd, const void* bytes, std::size_t size) -> ssize_t {
    static bool interrupt = false;
    if ((interrupt = !interrupt))
      return errno = EINTR, -1;
    return os::realSyscalls().write(fd, bytes, std::min<std::size_t>(size, 7));
  };
  std::string text;
  for (int i = 0; i < 500; ++i)
    text += "line " + std::to_string(i) + "\n";
  fs::path target = mFolder / "prefs.js";
  {
    os::ScopedSyscalls shortWrites(table);
    ASSERT_TRUE(os::writeFileAtomically(target.string(), text));
  }
  EXPECT_EQ(readFile(target), text);
  EXPECT_EQ(fs::status(target).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

// Core Foundation is a shared library with its own copy of the Linux side: it must still take
// the table the process put in force.
TEST_F(FailingSystemTest, PreferencesOnAFullDiskKeepTheFileBeforeAndTheChange) {
  setenv("CFFIXED_USER_HOME", mFolder.c_str(), 1);
  CFStringRef app = CFSTR("org.example.fulldisk");
  CFStringRef key = CFSTR("Level");
  int one = 1, two = 2;
  CFNumberRef first = CFNumberCreate(nullptr, kCFNumberIntType, &one);
  CFNumberRef second = CFNumberCreate(nullptr, kCFNumberIntType, &two);
  CFPreferencesSetAppValue(key, first, app);
  ASSERT_TRUE(CFPreferencesAppSynchronize(app));
  fs::path file = mFolder / "Library/Preferences/org.example.fulldisk.plist";
  std::string before = readFile(file);

  CFPreferencesSetAppValue(key, second, app);
  os::Syscalls fullDisk = os::realSyscalls();
  kFaults[0].install(fullDisk);
  {
    os::ScopedSyscalls failing(fullDisk);
    EXPECT_FALSE(CFPreferencesAppSynchronize(app));
  }
  EXPECT_EQ(readFile(file), before);
  EXPECT_EQ(namesIn(file.parent_path()).size(), 1u);
  // The change is still pending and goes out once there is room.
  EXPECT_TRUE(CFPreferencesAppSynchronize(app));
  Boolean valid = false;
  EXPECT_EQ(CFPreferencesGetAppIntegerValue(key, app, &valid), 2);
  CFRelease(first);
  CFRelease(second);
  unsetenv("CFFIXED_USER_HOME");
}

TEST_F(FailingSystemTest, AProcessWhoseProcEntryCannotBeReadCountsAsGone) {
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    pause();
    _exit(0);
  }
  auto start = os::processStartTime(child);
  ASSERT_TRUE(start.has_value());
  fs::path runtime = mFolder / "runtime";
  fs::create_directory(runtime);
  fs::permissions(runtime, fs::perms::owner_all);
  setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
  auto folder = os::runtimeFolder(true);
  ASSERT_TRUE(folder.has_value());
  os::RegistryEntry entry;
  entry.pid = child;
  entry.startTime = *start;
  entry.signature = 0x54455354;
  entry.socketPath = os::socketPathFor(*folder, child);
  ASSERT_TRUE(os::writeEntry(*folder, entry));

  static pid_t vanished;
  vanished = child;
  os::Syscalls table = os::realSyscalls();
  table.open = [](const char* path, int flags, mode_t mode) {
    std::string own = "/proc/" + std::to_string(vanished) + "/";
    if (std::string(path).starts_with(own))
      return errno = ENOENT, -1;
    return os::realSyscalls().open(path, flags, mode);
  };
  {
    os::ScopedSyscalls gone(table);
    EXPECT_FALSE(os::processIsAlive(child, *start));
    EXPECT_FALSE(os::findLiveEntry(child).has_value());
  }
  EXPECT_TRUE(os::processIsAlive(child, *start));
  // Its entry is swept as a dead process's would be.
  EXPECT_FALSE(fs::exists(os::entryPath(*folder, child)));

  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  unsetenv("XDG_RUNTIME_DIR");
}

} // namespace
