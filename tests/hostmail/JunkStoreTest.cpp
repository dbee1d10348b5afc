// The junk-status store: the user's previous classification, an older database, durability of
// every recorded status when a run dies, privacy of the file. (A later verdict replacing an
// earlier one is the end-to-end verdict test's, reopening the store the status writer's.)
#include "JunkStore.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using testsupport::TempDir;

using namespace mailhost;

TEST(JunkStore, PreviousUserClassificationFollowsOnlyTheUsersVerdict) {
  struct Case {
    std::optional<JunkStatus> status;
    std::uint32_t expected;
  } cases[] = {
      {std::nullopt, kUnclassified},
      {JunkStatus{"u", 100, JunkOrigin::Plugin, 1}, kUnclassified},
      {JunkStatus{"u", 51, JunkOrigin::User, 1}, kJunk},
      {JunkStatus{"u", 50, JunkOrigin::User, 1}, kGood},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.status ? std::to_string(c.status->score) + originName(c.status->origin)
                          : "none");
    EXPECT_EQ(previousUserClassification(c.status), c.expected);
  }
}

// A database from before verdicts were known to be learned keeps its statuses, all learned.
TEST(JunkStore, AnOlderDatabaseGainsTheLearnedFlag) {
  TempDir dir;
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((dir / JunkStore::kFileName).c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db,
                         "CREATE TABLE junk_status (uri TEXT PRIMARY KEY, score INTEGER NOT NULL,"
                         " origin TEXT NOT NULL, time INTEGER NOT NULL);"
                         "INSERT INTO junk_status VALUES ('m#1', 100, 'user', 7);",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);

  JunkStore store(dir / JunkStore::kFileName);
  EXPECT_EQ(store.find("m#1"), (JunkStatus{"m#1", 100, JunkOrigin::User, 7, true}));
  store.record("m#2", 0, JunkOrigin::User, false);
  EXPECT_FALSE(store.find("m#2")->trained);
}

TEST(JunkStore, ARunThatDiesKeepsWhatItRecorded) {
  TempDir dir;
  std::filesystem::path file = dir / JunkStore::kFileName;
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    JunkStore store(file);
    store.record("m#1", 100, JunkOrigin::Plugin);
    store.record({{"m#2", 0, JunkOrigin::Plugin, 0}, {"m#3", 100, JunkOrigin::Plugin, 0}});
    ::kill(::getpid(), SIGKILL); // no destructor, no close
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  JunkStore store(file);
  EXPECT_EQ(store.all().size(), 3u);
}

TEST(JunkStore, ABatchWithABadStatusRecordsNothing) {
  TempDir dir;
  JunkStore store(dir / JunkStore::kFileName);
  EXPECT_THROW(
      store.record({{"m#1", 100, JunkOrigin::Plugin, 0}, {"m#2", 42, JunkOrigin::User, 0}}),
      JunkStoreError);
  EXPECT_TRUE(store.all().empty());
  store.record("m#1", 100, JunkOrigin::Plugin); // the store is usable afterwards
  EXPECT_EQ(store.all().size(), 1u);
}

TEST(JunkStore, TheFileIsTheOwnersAlone) {
  TempDir dir;
  mode_t old = ::umask(0);
  std::filesystem::path fresh = dir / "fresh.sqlite";
  std::filesystem::path wide = dir.write("wide.sqlite", "");
  ::chmod(wide.c_str(), 0666);
  {
    JunkStore a(fresh);
    a.record("m#1", 0, JunkOrigin::User);
  }
  { JunkStore b(wide); }
  ::umask(old);
  for (const auto& file : {fresh, wide}) {
    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u) << file;
  }
}

TEST(JunkStore, AFileThatIsNoDatabaseIsAClearError) {
  TempDir dir;
  std::filesystem::path junk = dir.write("notes.sqlite", std::string(4096, 'x'));
  try {
    JunkStore store(junk);
    ADD_FAILURE() << "opened a file that is not a database";
  } catch (const JunkStoreError& error) {
    EXPECT_NE(std::string(error.what()).find(junk.string()), std::string::npos);
  }
}

TEST(JunkStore, ManyStatusesAreReadInOrderAndLeaveTheStoreWritable) {
  TempDir dir;
  JunkStore store(dir / JunkStore::kFileName);
  store.record({{"m#1", 100, JunkOrigin::User, 5}, {"m#3", 0, JunkOrigin::Plugin, 6}});
  EXPECT_EQ(store.findEach({"m#3", "m#2", "m#1"}),
            (std::vector<std::optional<JunkStatus>>{JunkStatus{"m#3", 0, JunkOrigin::Plugin, 6},
                                                    std::nullopt,
                                                    JunkStatus{"m#1", 100, JunkOrigin::User, 5}}));
  store.record("m#2", 0, JunkOrigin::User); // no transaction was left open
  EXPECT_EQ(store.all().size(), 3u);
}

// The user's verdicts are found by the start the asked URIs share: whatever the batch looks
// like, the answer is the one a lookup of each message would give.
TEST(JunkStore, UsersVerdictsAreFoundForAnyBatch) {
  TempDir dir;
  JunkStore store(dir / JunkStore::kFileName);
  std::vector<JunkStatus> statuses = {{"box://a/inbox#1", 100, JunkOrigin::User, 1, false},
                                      {"box://a/inbox#2", 0, JunkOrigin::Plugin, 2},
                                      {"box://a/inbox#3", 0, JunkOrigin::User, 3},
                                      {"box://a/inbox2#1", 100, JunkOrigin::User, 4},
                                      {"box://b/inbox#1", 100, JunkOrigin::User, 5}};
  for (int i = 0; i < 40; ++i) // far more of the user's verdicts in one folder than asked about
    statuses.push_back({"box://c/many#" + std::to_string(i), 100, JunkOrigin::User, 6});
  store.record(statuses);

  auto expected = [&](const std::vector<std::string>& uris) {
    std::vector<std::optional<JunkStatus>> each = store.findEach(uris);
    for (auto& status : each)
      if (status && status->origin != JunkOrigin::User)
        status.reset();
    return each;
  };
  for (const std::vector<std::string>& uris : std::vector<std::vector<std::string>>{
           {"box://a/inbox#1", "box://a/inbox#2", "box://a/inbox#3", "box://a/inbox#4"},
           {"box://a/inbox#3", "box://a/inbox#1", "box://a/inbox#3"},  // out of order, and twice
           {"box://a/inbox#1", "box://a/inbox2#1", "box://b/inbox#1"}, // several folders
           {"box://a/inbox#2", "box://a/inbox#4"},                     // none the user's
           {"box://c/many#3", "box://c/many#7"},
           {"box://a/inbox#1"},
           {"\xff\xff", "\xff\xff#1"}, // no bound above
           {}}) {
    SCOPED_TRACE(testing::PrintToString(uris));
    EXPECT_EQ(store.findUsersVerdicts(uris), expected(uris));
  }
  ASSERT_TRUE(store.findUsersVerdicts({"box://a/inbox#1", "box://a/inbox#9"})[0].has_value());
  EXPECT_FALSE(store.findUsersVerdicts({"box://a/inbox#1", "box://a/inbox#9"})[0]->trained);
}
