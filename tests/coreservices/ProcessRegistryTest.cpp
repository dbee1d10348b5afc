// The application registry as the Process Manager shows it, stale entries, and the runtime
// folder's privacy.
#include "ServedApps.h"

#include <CoreServices/AE/AEServer.h>

#include <unix/ProcessTable.h>
#include <unix/Registry.h>
#include <unix/RuntimeFolder.h>

#include <csignal>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace cstest;

namespace {

class ProcessRegistryTest : public SandboxTest {};

TEST_F(ProcessRegistryTest, EnumeratesRegisteredApplicationsInLaunchOrderThenEnds) {
  pid_t first = launchServedApp("One1");
  pid_t second = launchServedApp("Two2");

  std::vector<std::pair<pid_t, OSType>> seen;
  ProcessSerialNumber psn{0, kNoProcess};
  OSErr err;
  while ((err = GetNextProcess(&psn)) == noErr) {
    ProcessInfoRec info{};
    info.processInfoLength = 60; // the classic record length callers still pass
    ASSERT_EQ(GetProcessInformation(&psn, &info), noErr);
    EXPECT_EQ(info.processAppRef, nullptr) << "fields beyond the given length stay untouched";
    pid_t pid = 0;
    ASSERT_EQ(GetProcessPID(&psn, &pid), noErr);
    seen.emplace_back(pid, info.processSignature);
  }
  EXPECT_EQ(err, procNotFound);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0], std::make_pair(first, FOUR_CHAR_CODE("One1")));
  EXPECT_EQ(seen[1], std::make_pair(second, FOUR_CHAR_CODE("Two2")));
}

TEST_F(ProcessRegistryTest, StaleEntriesAreSkippedAndRemoved) {
  pid_t live = launchServedApp("Live");
  // A process that has exited, and a live pid (our own) recorded with a wrong start time.
  pid_t dead = fork();
  if (dead == 0)
    _exit(0);
  waitpid(dead, nullptr, 0);
  std::string folder = box.runtime / "AppleEvents";
  os::RegistryEntry ghost;
  ghost.pid = dead;
  ghost.startTime = 12345;
  ghost.signature = FOUR_CHAR_CODE("Live");
  ghost.socketPath = os::socketPathFor(folder, dead);
  ASSERT_TRUE(os::writeEntry(folder, ghost));
  writeFile(ghost.socketPath, "");
  os::RegistryEntry reused = ghost;
  reused.pid = getpid();
  reused.socketPath = os::socketPathFor(folder, getpid());
  ASSERT_TRUE(os::writeEntry(folder, reused));
  writeFile(folder + "/999999.plist", "not a property list");

  os::LiveEntries entries = os::liveEntries();
  ASSERT_EQ(entries->size(), 1u);
  EXPECT_EQ((*entries)[0].pid, live);
  EXPECT_FALSE(fs::exists(os::entryPath(folder, dead)));
  EXPECT_FALSE(fs::exists(ghost.socketPath));
  EXPECT_FALSE(fs::exists(os::entryPath(folder, getpid())));
  EXPECT_FALSE(fs::exists(folder + "/999999.plist"));
  // The signature still finds the live application, not the ghost.
  EXPECT_EQ(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Live"))->pid, live);
}

// Lookups are answered from memory while the folder stands still; an application that ends or
// one that registers meanwhile must still be seen at once.
TEST_F(ProcessRegistryTest, RememberedEntriesFollowProcessesThatEndOrStart) {
  pid_t first = launchServedApp("Frst");
  usleep(1'200'000); // the folder's last change is now old enough for the lookup to be kept
  ASSERT_TRUE(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Frst")));
  ASSERT_TRUE(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Frst")));
  pid_t second = launchServedApp("Scnd");
  EXPECT_EQ(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Scnd"))->pid, second);
  usleep(1'200'000);
  ASSERT_TRUE(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Frst")));

  // Killed, so its entry stays behind in the folder.
  kill(first, SIGKILL);
  for (int i = 0; i < 500 && os::processStartTime(first); ++i)
    usleep(2'000);
  EXPECT_FALSE(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Frst")));
  AppleEvent event = testEvent("echo", "Frst");
  EXPECT_EQ(AESendMessage(&event, nullptr, kAEWaitReply, kAEDefaultTimeout), procNotFound);
  AEDisposeDesc(&event);
  EXPECT_EQ(runningApps(), std::vector<pid_t>{second});
}

// A process that looks often watches the folder instead of reading its times: an application
// that registers or ends, and the folder opened to others, still show at the next lookup.
TEST_F(ProcessRegistryTest, AWatchedFolderShowsEveryChangeAtTheNextLookup) {
  pid_t first = launchServedApp("Wat1");
  for (int i = 0; i < 64; ++i)
    ASSERT_TRUE(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Wat1")));
  pid_t second = launchServedApp("Wat2");
  EXPECT_EQ(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Wat2"))->pid, second);

  std::string folder = box.runtime / "AppleEvents";
  chmod(folder.c_str(), 0755);
  EXPECT_TRUE(os::liveEntries()->empty());
  chmod(folder.c_str(), 0700);
  EXPECT_EQ(os::liveEntries()->size(), 2u);

  kill(first, SIGKILL);
  for (int i = 0; i < 500 && os::processStartTime(first); ++i)
    usleep(2'000);
  EXPECT_FALSE(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Wat1")));

  // Moved away and made again: the new folder is the one read.
  fs::rename(folder, box.runtime / "moved");
  EXPECT_TRUE(os::liveEntries()->empty());
  fs::create_directory(folder);
  fs::permissions(folder, fs::perms::owner_all);
  fs::rename(box.runtime / "moved" / (std::to_string(second) + ".plist"),
             os::entryPath(folder, second));
  EXPECT_EQ(os::findLiveEntryBySignature(FOUR_CHAR_CODE("Wat2"))->pid, second);
}

TEST_F(ProcessRegistryTest, RuntimeFolderMustBePrivate) {
  auto folder = os::runtimeFolder(true);
  ASSERT_TRUE(folder.has_value());
  struct stat info {};
  ASSERT_EQ(stat(folder->c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);

  chmod(folder->c_str(), 0755);
  EXPECT_FALSE(os::runtimeFolder(true).has_value());
  EXPECT_EQ(AEServerOpen(), paramErr);
  chmod(folder->c_str(), 0700);

  // A symbolic link in its place is refused too.
  fs::remove_all(*folder);
  fs::create_directory(box.root / "elsewhere");
  fs::permissions(box.root / "elsewhere", fs::perms::owner_all);
  fs::create_directory_symlink(box.root / "elsewhere", *folder);
  EXPECT_FALSE(os::runtimeFolder(true).has_value());
}

} // namespace
