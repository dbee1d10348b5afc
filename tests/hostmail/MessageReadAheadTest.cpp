// Messages read ahead on another thread: handed out in order and equal to what a delivery
// would read itself, never stale after a change or a deletion, bounded, and nothing for a
// message that was skipped or never planned.
#include "MessageReadAhead.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

using testsupport::TempDir;

using namespace mailhost;
namespace fs = std::filesystem;

namespace {

std::string message(int i, std::size_t bodyBytes = 10) {
  return "Subject: message " + std::to_string(i) + "\n\n" + std::string(bodyBytes, 'x') + "\n";
}

class MessageReadAheadTest : public ::testing::Test {
protected:
  // A Maildir of `count` messages and their URIs in folder order.
  std::vector<std::string> maildir(int count, std::size_t bodyBytes = 10) {
    for (int i = 0; i < count; ++i)
      dir.write("Box/cur/" + std::to_string(100 + i) + ".host:2,S", message(i, bodyBytes));
    FolderListing listing = store.list(dir / "Box");
    std::vector<std::string> uris;
    for (std::size_t i = 0; i < listing.size(); ++i)
      uris.push_back(listing.at(i).uri);
    return uris;
  }

  static void waitForReady(MessageReadAhead& ahead, std::size_t count) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (ahead.ready() < count && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_EQ(ahead.ready(), count);
  }

  std::string subjectOf(const std::optional<FilterForm>& form) {
    if (!form)
      return "(none)";
    for (const HeaderField& field : form->headers)
      if (field.name == "Subject")
        return field.value;
    return "(no subject)";
  }

  TempDir dir;
  MailStore store;
};

TEST_F(MessageReadAheadTest, FormsComeInOrderAndEqualWhatIsReadOnDemand) {
  // Messages with an envelope line, one with nothing else, and one larger than a single read.
  dir.write("Box/cur/090.host:2,S", "From a@b Mon Jan  1 00:00:00 2024\nSubject: x\n\nbody\n");
  dir.write("Box/cur/091.host:2,S", "From a@b Mon Jan  1 00:00:00 2024");
  dir.write("Box/cur/092.host:2,S", message(92, 100'000));
  std::vector<std::string> uris = maildir(5);
  dir.write("Inbox", "From a@b Mon Jan  1 00:00:00 2024\nSubject: in mbox\n\nhello\n\n"
                     "From c@d Mon Jan  1 00:00:00 2024\nSubject: second\n\nthere\n");
  FolderListing mbox = store.list(dir / "Inbox");
  ASSERT_EQ(mbox.size(), 2u);
  uris.push_back(mbox.at(0).uri);
  uris.push_back(mbox.at(1).uri);
  MessageReadAhead ahead(store, uris, {.messages = 8, .bytes = 256 * 1024});
  for (const std::string& uri : uris) {
    std::optional<FilterForm> form = ahead.take(uri);
    ASSERT_TRUE(form) << uri;
    FilterForm expected = toFilterForm(store.locate(store.parseUri(uri)));
    EXPECT_EQ(form->headers, expected.headers);
    EXPECT_EQ(form->body.view(), expected.body.view());
  }
}

// A form read before its file changed or went away is never handed out: the delivery reads
// the message again and sees the change (or reports it gone).
TEST_F(MessageReadAheadTest, AMessageChangedOrDeletedAfterItWasReadIsLeftToTheDelivery) {
  struct Case {
    const char* name;
    void (*change)(const fs::path& file);
  };
  const Case cases[] = {
      {"deleted", [](const fs::path& file) { fs::remove(file); }},
      {"appended to", [](const fs::path& file) { std::ofstream(file, std::ios::app) << "more\n"; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(dir / "Box");
    store = MailStore();
    std::vector<std::string> uris = maildir(2);
    MessageReadAhead ahead(store, uris);
    waitForReady(ahead, 2);
    c.change(store.locate(store.parseUri(uris[1])).file);
    EXPECT_EQ(subjectOf(ahead.take(uris[0])), "message 0");
    EXPECT_FALSE(ahead.take(uris[1]));
  }
}

TEST_F(MessageReadAheadTest, OnlyMessagesStillToComeAreHandedOut) {
  std::vector<std::string> uris = maildir(4);
  MessageReadAhead ahead(store, uris);
  EXPECT_EQ(subjectOf(ahead.take(uris[2])), "message 2"); // 0 and 1 skipped
  EXPECT_FALSE(ahead.take(uris[0]));
  EXPECT_FALSE(ahead.take(uris[2])) << "taken once only";
  EXPECT_EQ(subjectOf(ahead.take(uris[3])), "message 3");
  ahead.stop();
  EXPECT_FALSE(ahead.take(uris[3]));
}

TEST_F(MessageReadAheadTest, HoldsAtMostItsLimitAndLeavesLargeMessagesOnDemand) {
  std::vector<std::string> uris = maildir(6);
  dir.write("Box/cur/200.host:2,S", message(6, 4096));
  uris.push_back(store.list(dir / "Box").at(6).uri);
  MessageReadAhead ahead(store, uris, {.messages = 2, .bytes = 1024});
  waitForReady(ahead, 2);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(ahead.ready(), 2u);
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(subjectOf(ahead.take(uris[static_cast<std::size_t>(i)])),
              "message " + std::to_string(i));
  EXPECT_FALSE(ahead.take(uris[6])) << "over the byte limit";
}

} // namespace
