// Mail folders and message URIs: mbox separators and their quirks, Maildir keys, the mapping
// between folder paths and URIs, and the errors for folders that cannot be used.
#include "MailStore.h"
#include "MailError.h"
#include "MailRoot.h"
#include "Maildir.h"
#include "Mbox.h"
#include "ReadOnlyFile.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using testsupport::TempDir;

namespace fs = std::filesystem;
using namespace mailhost;

namespace {

std::string bytesOf(const std::string& content, const MboxEntry& entry) {
  return content.substr(entry.start, entry.end - entry.start);
}

MailErrorKind errorKindOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const MailError& error) {
    return error.kind();
  }
  ADD_FAILURE() << "no MailError thrown";
  return MailErrorKind::Io;
}

struct MboxCase {
  const char* name;
  std::string content;
  std::vector<std::pair<std::uint64_t, std::string>> messages; // key, message bytes
};

const std::vector<MboxCase>& mboxCases() {
  static const std::vector<MboxCase> cases = {
      {"two messages",
       "From a@b Mon Jan  1 00:00:00 2001\nSubject: 1\n\nbody1\n\n"
       "From c@d Mon Jan  1 00:00:00 2001\nSubject: 2\n\nbody2\n",
       {{0, "Subject: 1\n\nbody1\n"}, {53, "Subject: 2\n\nbody2\n"}}},
      {"no From line before the first message",
       "Subject: 0\n\nbody0\n\nFrom c@d\nSubject: 2\n\nbody2\n",
       {{0, "Subject: 0\n\nbody0\n"}, {19, "Subject: 2\n\nbody2\n"}}},
      {"truncated last message",
       "From a\nSubject: 1\n\nbody1\n\nFrom b\nSubject: tru",
       {{0, "Subject: 1\n\nbody1\n"}, {26, "Subject: tru"}}},
      {"CRLF line ends",
       "From a\r\nSubject: 1\r\n\r\nbody\r\n\r\nFrom b\r\nSubject: 2\r\n\r\nb2\r\n",
       {{0, "Subject: 1\r\n\r\nbody\r\n"}, {30, "Subject: 2\r\n\r\nb2\r\n"}}},
      {"a From line inside a paragraph separates nothing",
       "From a\nSubject: 1\n\nline\nFrom me to you\n",
       {{0, "Subject: 1\n\nline\nFrom me to you\n"}}},
      {"blank lines before the first From line are no message",
       "\n\r\nFrom a\nSubject: 1\n\nb\n",
       {{3, "Subject: 1\n\nb\n"}}},
      {"a From line that ends the file starts an empty message",
       "From a\nSubject: 1\n\nb\n\nFrom b",
       {{0, "Subject: 1\n\nb\n"}, {22, ""}}},
      {"an empty file holds no message", "", {}},
  };
  return cases;
}

// Sets an environment variable for one scope.
class ScopedEnv {
public:
  ScopedEnv(const char* name, const std::string& value) : mName(name) {
    if (const char* old = std::getenv(name))
      mOld = old;
    ::setenv(name, value.c_str(), 1);
  }
  ~ScopedEnv() { mOld ? ::setenv(mName, mOld->c_str(), 1) : ::unsetenv(mName); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
  const char* mName;
  std::optional<std::string> mOld;
};

// A Maildir index kept in memory, or (with a budget of a few names) in a temporary file under
// dir/cache: the tests of Maildir folders run both ways.
class MaildirBothWays : public testing::TestWithParam<bool> {
protected:
  MaildirBothWays()
      : mCache("XDG_CACHE_HOME", (dir / "cache").string()),
        mBudget("MAILHOST_LISTING_MEMORY", GetParam() ? "100" : "") {}
  TempDir dir;

private:
  ScopedEnv mCache;
  ScopedEnv mBudget;
};

INSTANTIATE_TEST_SUITE_P(Index, MaildirBothWays, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "InAFile" : "InMemory"; });

} // namespace

TEST(Mbox, ScansSeparatorsAndFindsEachMessageByItsKey) {
  TempDir dir;
  for (const MboxCase& c : mboxCases()) {
    SCOPED_TRACE(c.name);
    ReadOnlyFile file(dir.write("mbox", c.content));
    std::vector<MboxEntry> entries = scanMbox(file);
    ASSERT_EQ(entries.size(), c.messages.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
      EXPECT_EQ(entries[i].key, c.messages[i].first);
      EXPECT_EQ(bytesOf(c.content, entries[i]), c.messages[i].second);
      // Looking a message up by its key gives what the full scan gave.
      EXPECT_EQ(findMboxEntry(file, entries[i].key), entries[i]);
    }
  }
}

TEST(Mbox, SeparatorDetectionCrossesReadChunks) {
  // Put a separator across the scanner's 64 KiB chunk boundary.
  std::string first = "From a\nSubject: 1\n\n" + std::string(65536 - 22, 'x') + "\n\n";
  std::string content = first + "From b\nSubject: 2\n\nb\n";
  TempDir dir;
  ReadOnlyFile file(dir.write("mbox", content));
  std::vector<MboxEntry> entries = scanMbox(file);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[1].key, first.size());
  EXPECT_EQ(bytesOf(content, entries[1]), "Subject: 2\n\nb\n");
}

TEST(Mbox, KeysThatAreNoSeparatorAreRefused) {
  std::string content = "From a\nSubject: 1\n\nline\nFrom me\n\nFrom b\nS: 2\n\nx\n";
  TempDir dir;
  ReadOnlyFile file(dir.write("mbox", content));
  for (std::uint64_t key :
       {std::uint64_t{1}, std::uint64_t{7}, static_cast<std::uint64_t>(content.find("From me")),
        std::uint64_t{content.size()}, std::uint64_t{1} << 40}) {
    SCOPED_TRACE(key);
    EXPECT_EQ(errorKindOf([&] { findMboxEntry(file, key); }), MailErrorKind::NoSuchMessage);
  }
  EXPECT_NO_THROW(findMboxEntry(file, content.find("From b")));
}

TEST_P(MaildirBothWays, KeysAreUniqueNamesThatSurviveFlagChanges) {
  dir.write("box/cur/1000.aa.host:2,S", "Subject: a\n\nA\n");
  dir.write("box/new/999.bb.host", "Subject: b\n\nB\n");
  dir.write("box/new/.hidden", "not mail");
  dir.write("box/cur/:2,S", "no key, so no URI could name it");
  fs::create_directories(dir / "box/tmp");
  MailStore store(MailRoot(dir.path()));

  std::vector<MessageRef> before = store.messagesIn(dir / "box");
  ASSERT_EQ(before.size(), 2u);
  EXPECT_EQ(before[0].key, "1000.aa.host");
  EXPECT_EQ(before[1].key, "999.bb.host");
  EXPECT_EQ(before[0].uri, "mailbox-message://nobody@Local%20Folders/box#1000.aa.host");

  EXPECT_EQ(store.locate(before[1]).file, dir / "box/new/999.bb.host");

  // Another program reads the message, moving it to cur/ with flags: the same key and URI, and
  // the lookup still finds it although the folder was listed before.
  fs::rename(dir / "box/new/999.bb.host", dir / "box/cur/999.bb.host:2,RS");
  MessageExtent extent = store.locate(store.parseUri(before[1].uri));
  EXPECT_EQ(extent.file, dir / "box/cur/999.bb.host:2,RS");
  EXPECT_EQ(extent.length, 14u);
  // A message arrived, one was deleted.
  dir.write("box/new/2000.cc.host", "Subject: c\n\nC\n");
  EXPECT_EQ(store.locate(store.parseUri(store.messageUri(dir / "box", "2000.cc.host"))).file,
            dir / "box/new/2000.cc.host");
  fs::remove(dir / "box/cur/1000.aa.host:2,S");
  EXPECT_EQ(errorKindOf([&] { store.locate(before[0]); }), MailErrorKind::NoSuchMessage);

  std::vector<MessageRef> after = store.messagesIn(dir / "box");
  ASSERT_EQ(after.size(), 2u);
  EXPECT_EQ(after[1].uri, before[1].uri); // 2000.cc.host sorts first
}

TEST(MailRoot, FolderPathsAndUriPathsMapBothWays) {
  TempDir dir;
  dir.write("Inbox", "");
  dir.write("Inbox.sbd/Lists", "");
  dir.write("Inbox.sbd/Lists.sbd/Deep One", "");
  dir.write("Odd #?&%=+;name", "");
  MailRoot root(dir.path());
  struct Case {
    const char* path;
    const char* uriPath;
  } cases[] = {
      {"Inbox", "Inbox"},
      {"Inbox.sbd/Lists.sbd/Deep One", "Inbox/Lists/Deep%20One"},
      {"Odd #?&%=+;name", "Odd%20%23%3F%26%25%3D%2B%3Bname"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(root.uriPathFor(dir / c.path), c.uriPath);
    EXPECT_EQ(root.folderPathFor(c.uriPath), root.path() / c.path);
  }
}

TEST(MailRoot, EveryWayOfNamingAFolderGivesOneUri) {
  TempDir dir;
  fs::path mbox = dir.write("mail/Inbox", "From a\nS: 1\n\nb\n");
  fs::create_directory_symlink(dir / "mail", dir / "link");
  MailStore store; // the default root: the absolute path is the folder's name
  std::string expected =
      std::string(kMessageUriPrefix) + canonicalMailPath(mbox).string().substr(1) + "#0";
  std::string cwd = fs::current_path().string();
  fs::current_path(dir.path());
  std::vector<std::string> uris;
  for (const fs::path& name : {fs::path(mbox), dir / "link/Inbox", fs::path("mail/./Inbox"),
                               fs::path("mail/../mail/Inbox")})
    uris.push_back(store.messagesIn(name).at(0).uri);
  fs::current_path(cwd);
  for (const std::string& uri : uris)
    EXPECT_EQ(uri, expected);
}

TEST(MailRoot, NothingOutsideTheRootIsNamedOrReached) {
  TempDir dir;
  dir.write("root/Inbox", "");
  dir.write("elsewhere", "");
  MailRoot root(dir / "root");
  EXPECT_EQ(errorKindOf([&] { root.uriPathFor(dir / "elsewhere"); }), MailErrorKind::OutsideRoot);
  EXPECT_EQ(errorKindOf([&] { root.uriPathFor(dir / "root"); }), MailErrorKind::OutsideRoot);
  for (const char* uriPath : {"..", "Inbox/../../elsewhere", "", "a//b", "%2E%2E", "a%2Fb"}) {
    SCOPED_TRACE(uriPath);
    EXPECT_EQ(errorKindOf([&] { root.folderPathFor(uriPath); }), MailErrorKind::BadUri);
  }
}

TEST(MailStore, UriSyntaxErrorsAreFoundWithoutTouchingFiles) {
  MailStore store;
  const char* bad[] = {
      "imap-message://u@h/INBOX#1",
      "mailbox-message://someone@Elsewhere/Inbox#1",
      "mailbox-message://nobody@Local%20Folders/Inbox",
      "mailbox-message://nobody@Local%20Folders/In%G1box#1",
      "file:///tmp/message.eml",
      "",
  };
  for (const char* uri : bad) {
    SCOPED_TRACE(uri);
    EXPECT_EQ(errorKindOf([&] { store.parseUri(uri); }), MailErrorKind::BadUri);
  }
}

TEST(MailStore, UrisNameTheirFolderAndKey) {
  MailStore store;
  struct Case {
    const char* uri;
    MessageRef::Kind kind;
    const char* path;
    const char* key;
  } cases[] = {
      {"mailbox-message://nobody@Local%20Folders/var/mail/In%20box#42",
       MessageRef::Kind::FolderMessage, "/var/mail/In box", "42"},
      {"mailbox-message://nobody@Local%20Folders/var/mail/Inbox#42?header=filter",
       MessageRef::Kind::FolderMessage, "/var/mail/Inbox", "42"},
      {"mailbox-message://nobody@Local%20Folders/m/box#17.a%2Cb.host&part=1",
       MessageRef::Kind::FolderMessage, "/m/box", "17.a,b.host"},
      {"file:///tmp/a%20b.eml?type=application/x-message-display", MessageRef::Kind::MessageFile,
       "/tmp/a b.eml", ""},
      {"mailbox:///tmp/x.eml?number=0&type=application/x-message-display",
       MessageRef::Kind::MessageFile, "/tmp/x.eml", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.uri);
    MessageRef ref = store.parseUri(c.uri);
    EXPECT_EQ(ref.kind, c.kind);
    EXPECT_EQ(ref.path, c.path);
    EXPECT_EQ(ref.key, c.key);
  }
}

TEST(MailStore, UnusableFoldersGiveClearErrors) {
  TempDir dir;
  dir.write("Inbox", "From a\nS: 1\n\nb\n");
  fs::create_directories(dir / "plain-dir");
  fs::create_symlink(dir / "gone", dir / "dangling");
  MailStore store;
  EXPECT_EQ(errorKindOf([&] { store.messagesIn(dir / "missing"); }), MailErrorKind::NotFound);
  EXPECT_EQ(errorKindOf([&] { store.messagesIn(dir / "dangling"); }), MailErrorKind::NotFound);
  EXPECT_EQ(errorKindOf([&] { store.messagesIn(dir / "plain-dir"); }), MailErrorKind::NotAFolder);
  std::string inbox =
      std::string(kMessageUriPrefix) + canonicalMailPath(dir / "Inbox").string().substr(1);
  EXPECT_EQ(errorKindOf([&] { store.locate(store.parseUri(inbox + "#999")); }),
            MailErrorKind::NoSuchMessage);
  EXPECT_EQ(errorKindOf([&] { store.locate(store.parseUri(inbox + "#abc")); }),
            MailErrorKind::NoSuchMessage);
  EXPECT_EQ(errorKindOf([&] { store.locate(store.parseUri(inbox + "x#0")); }),
            MailErrorKind::NotFound);
}

TEST(MailStore, UnreadableFolderIsRefused) {
  if (::geteuid() == 0)
    GTEST_SKIP() << "root reads every file";
  TempDir dir;
  fs::path mbox = dir.write("Inbox", "From a\nS: 1\n\nb\n");
  fs::permissions(mbox, fs::perms::none);
  MailStore store;
  EXPECT_EQ(errorKindOf([&] { store.messagesIn(mbox); }), MailErrorKind::AccessDenied);
}

TEST(Maildir, AnIndexInAFileListsAndFindsWhatTheOneInMemoryDoes) {
  TempDir dir;
  ScopedEnv cache("XDG_CACHE_HOME", (dir / "cache").string());
  for (int i = 0; i < 300; ++i) {
    std::string key = std::to_string(i * 7919 % 1000) + ".M" + std::to_string(i) + ".host";
    if (i % 3 != 0)
      dir.write("box/cur/" + key + ":2,S", "Subject: cur\n\n");
    if (i % 3 == 0 || i % 5 == 0) // new/ alone, or a stale copy of a message read since
      dir.write("box/new/" + key, "Subject: new\n\n");
  }
  // Keys that sort bytewise: a prefix before its extensions, bytes above 0x7f last.
  for (const char* key : {"7", "7.", "7.M", "\xc3\xa9t\xc3\xa9", "\x7f"})
    dir.write(fs::path("box/cur") / (std::string(key) + ":2,"), "Subject: x\n\n");
  dir.write("box/cur/.hidden", "not mail");
  dir.write("box/new/:2,", "no key");

  MaildirIndex inMemory(dir / "box");
  ScopedEnv budget("MAILHOST_LISTING_MEMORY", "200");
  std::optional<MaildirIndex> inFile(std::in_place, dir / "box");
  // The file is made in a folder of the user's alone and is already gone from it.
  struct stat folder {};
  ASSERT_EQ(::stat((dir / "cache/mailhost").c_str(), &folder), 0);
  EXPECT_EQ(folder.st_mode & 0777, 0700u);
  EXPECT_TRUE(fs::is_empty(dir / "cache/mailhost"));

  ASSERT_EQ(inFile->size(), inMemory.size());
  ASSERT_EQ(inMemory.size(), 305u); // every key once
  for (std::size_t i = 0; i < inMemory.size(); ++i) {
    ASSERT_EQ(inFile->key(i), inMemory.key(i)) << i;
    ASSERT_EQ(inFile->file(i), inMemory.file(i)) << i;
    if (i > 0) {
      EXPECT_LT(inMemory.key(i - 1), inMemory.key(i));
    }
  }
  // Out of order, as a retried message is asked for again.
  for (std::size_t i : {std::size_t(250), std::size_t(3), inMemory.size() - 1, std::size_t(0)}) {
    EXPECT_EQ(inFile->key(i), inMemory.key(i));
    EXPECT_EQ(inFile->fileFor(inMemory.key(i)), inMemory.file(i));
  }
  // In key order, each followed by a key that would sort just after it.
  for (std::size_t i = 0; i < inMemory.size(); ++i) {
    ASSERT_EQ(inFile->fileFor(inMemory.key(i)), inMemory.file(i));
    ASSERT_FALSE(inFile->fileFor(inMemory.key(i) + '\x01'));
  }
  EXPECT_EQ(inFile->fileFor("595.M5.host"), dir / "box/cur/595.M5.host:2,S"); // cur/ wins
  for (const char* missing : {"", "7.M0", "zzz", ".hidden"}) {
    EXPECT_FALSE(inMemory.fileFor(missing)) << missing;
    EXPECT_FALSE(inFile->fileFor(missing)) << missing;
  }
  inFile.reset();
  EXPECT_TRUE(fs::is_empty(dir / "cache/mailhost"));
}

// An mbox's keys and a folder of message files are listed alike in memory and, past a budget of a
// few names, in a file: in folder order (offsets as numbers, names bytewise), each message found.
TEST(MailStore, LargeMboxesAndFoldersOfMessageFilesAreListedAsSmallOnes) {
  TempDir dir;
  ScopedEnv cache("XDG_CACHE_HOME", (dir / "cache").string());
  std::string mbox;
  std::vector<std::uint64_t> offsets;
  for (int i = 0; i < 60; ++i) { // offsets of two to four digits: as text, "57" > "1083"
    offsets.push_back(mbox.size());
    mbox += "From a@b Thu Jan  1 00:00:00 2026\nSubject: " + std::to_string(i) + "\n\nbody\n\n";
  }
  dir.write("Inbox", mbox);
  std::vector<std::string> names;
  for (int i = 0; i < 40; ++i) {
    names.push_back(std::to_string(i * 37 % 40) + ".eml");
    dir.write("files/" + names.back(), "Subject: file\n\n");
  }
  std::sort(names.begin(), names.end()); // bytewise: "10.eml" before "2.eml"
  dir.write("files/.hidden.eml", "x");
  dir.write("files/notes.txt", "x");
  fs::create_directories(dir / "files/sub.eml");

  MailStore store;
  for (const char* folder : {"Inbox", "files"}) {
    SCOPED_TRACE(folder);
    FolderListing inMemory = store.list(dir / folder);
    ScopedEnv budget("MAILHOST_LISTING_MEMORY", "100");
    FolderListing inFile = store.list(dir / folder);
    ASSERT_EQ(inMemory.size(), std::string(folder) == "Inbox" ? 60u : 40u);
    ASSERT_EQ(inFile.size(), inMemory.size());
    for (std::size_t i = 0; i < inMemory.size(); ++i) {
      MessageRef ref = inFile.at(i);
      ASSERT_EQ(ref.uri, inMemory.at(i).uri) << i;
      ASSERT_EQ(inFile.fileAt(i), inMemory.fileAt(i)) << i;
      if (ref.kind == MessageRef::Kind::FolderMessage) {
        EXPECT_EQ(ref.key, std::to_string(offsets[i]));
        EXPECT_EQ(store.locate(store.parseUri(ref.uri)).offset, offsets[i] + 34); // after "From "
      } else {
        EXPECT_EQ(ref.path.filename(), names[i]);
        EXPECT_EQ(store.locate(store.parseUri(ref.uri)).length, 15u);
      }
    }
  }
  EXPECT_TRUE(fs::is_empty(dir / "cache/mailhost"));
}

TEST(Maildir, AnIndexFileThatCannotBeMadeIsAClearError) {
  struct Case {
    const char* name;
    std::function<void(const fs::path& cache)> spoil;
    bool noRoom = false; // files may grow to 1 KiB, no more
  };
  const Case cases[] = {
      {"a file where its folder goes",
       [](const fs::path& cache) { testsupport::writeFile(cache / "mailhost", "x"); }},
      {"a folder others may read",
       [](const fs::path& cache) {
         fs::create_directories(cache / "mailhost");
         fs::permissions(cache / "mailhost", fs::perms(0755));
       }},
      {"no room for the file", [](const fs::path&) {}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempDir dir;
    for (int i = 0; i < 50; ++i)
      dir.write("box/cur/" + std::to_string(i) + ".host:2,", "Subject: x\n\n");
    ScopedEnv cache("XDG_CACHE_HOME", (dir / "cache").string());
    ScopedEnv budget("MAILHOST_LISTING_MEMORY", "100");
    c.spoil(dir / "cache");
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    if (c.noRoom) {
      rlimit small = old;
      small.rlim_cur = 1024;
      ::setrlimit(RLIMIT_FSIZE, &small);
    }
    std::string message;
    try {
      MailStore(MailRoot(dir.path())).list(dir / "box");
      ADD_FAILURE() << "listed";
    } catch (const MailError& error) {
      EXPECT_EQ(error.kind(), MailErrorKind::Io);
      message = error.what();
    }
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    // Which folder could not be read, and where its listing could not be kept.
    EXPECT_TRUE(message.starts_with((dir / "box").string() + ": ")) << message;
    EXPECT_NE(message.find((dir / "cache/mailhost").string()), std::string::npos) << message;
    if (fs::is_directory(dir / "cache/mailhost")) {
      EXPECT_TRUE(fs::is_empty(dir / "cache/mailhost"));
    }
  }
}
