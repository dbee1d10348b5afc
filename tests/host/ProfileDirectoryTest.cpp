#include "profile/ProfileDirectory.h"
#include "HostTestSupport.h"

#include <gtest/gtest.h>

namespace {

using testsupport::TempDir;

mode_t modeOf(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

TEST(ProfileDirectory, CreatesEveryMissingLevelPrivate) {
  TempDir dir;
  std::string profile = dir / "a/b/profile";
  EXPECT_EQ(mailhost::prepareProfileDirectory(profile), "");
  EXPECT_EQ(modeOf(dir / "a"), 0700u);
  EXPECT_EQ(modeOf(dir / "a/b"), 0700u);
  EXPECT_EQ(modeOf(profile), 0700u);
  EXPECT_EQ(mailhost::prepareProfileDirectory(profile + "/"), "") << "existing folder reused";
}

TEST(ProfileDirectory, DefaultFollowsXdgDataHome) {
  std::string saved = std::getenv("XDG_DATA_HOME") ? std::getenv("XDG_DATA_HOME") : "";
  std::string savedHome = std::getenv("HOME") ? std::getenv("HOME") : "";
  setenv("XDG_DATA_HOME", "/data/home", 1);
  EXPECT_EQ(mailhost::defaultProfileDirectory(), "/data/home/mailhost/profile");
  setenv("XDG_DATA_HOME", "relative/ignored", 1);
  setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(mailhost::defaultProfileDirectory(), "/home/someone/.local/share/mailhost/profile");
  if (saved.empty())
    unsetenv("XDG_DATA_HOME");
  else
    setenv("XDG_DATA_HOME", saved.c_str(), 1);
  setenv("HOME", savedHome.c_str(), 1);
}

} // namespace
