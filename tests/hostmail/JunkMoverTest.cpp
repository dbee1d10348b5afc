// Moving messages into a junk folder and back while other programs change the folders: a file
// renamed for its flags is found again, one deleted is reported with nothing changed, a key
// already in the junk folder is not overwritten, a message without a stored verdict stays.
#include "JunkMover.h"
#include "JunkStore.h"
#include "MailError.h"
#include "TempDir.h"

#include <gtest/gtest.h>

using testsupport::readFile;
using testsupport::TempDir;

using namespace mailhost;

namespace {

class JunkMoverTest : public ::testing::Test {
protected:
  JunkMoverTest() : store(dir / "junkstatus.sqlite"), log(dir / "junkstatus.sqlite") {}

  MessageRef messageIn(const std::filesystem::path& folder, const std::string& key) {
    return mail.parseUri(mail.messageUri(folder, key));
  }

  TempDir dir;
  JunkStore store;
  JunkMoveLog log;
  MailStore mail;
  JunkMover mover{mail, log};
};

} // namespace

TEST_F(JunkMoverTest, OtherProgramsChangesAreFollowedAndNothingIsLostOrOverwritten) {
  std::filesystem::path inbox = std::filesystem::canonical(dir.path()) / "Mail";
  std::filesystem::path junk = inbox / ".Junk";
  dir.write("Mail/cur/1.gone:2,", "Subject: 1\n\ngone\n");
  dir.write("Mail/cur/2.flagged:2,", "Subject: 2\n\nflagged\n");
  dir.write("Mail/new/3.twin", "Subject: 3\n\ntwin\n");
  dir.write("Mail/new/4.unjudged", "Subject: 4\n\nno verdict\n");
  dir.write("Mail/.Junk/cur/3.twin:2,S", "Subject: 3\n\nanother program put this here\n");
  std::vector<MessageRef> messages = mail.messagesIn(inbox);
  for (const MessageRef& message : messages)
    if (message.key != "4.unjudged")
      store.record(message.uri, 100, JunkOrigin::Plugin);
  std::filesystem::remove(inbox / "cur/1.gone:2,");
  std::filesystem::rename(inbox / "cur/2.flagged:2,", inbox / "cur/2.flagged:2,S");

  EXPECT_THROW(mover.moveToJunk(messages[0]), MailError);
  EXPECT_TRUE(store.find(messages[0].uri)) << "the verdict stays where it was";

  std::optional<MovedMessage> flagged = mover.moveToJunk(messages[1]);
  ASSERT_TRUE(flagged);
  EXPECT_EQ(flagged->file, junk / "cur/2.flagged:2,S");
  EXPECT_EQ(readFile(flagged->file), "Subject: 2\n\nflagged\n");

  std::optional<MovedMessage> twin = mover.moveToJunk(messages[2]);
  ASSERT_TRUE(twin);
  EXPECT_EQ(twin->file, junk / "new/3.twin-1");
  EXPECT_EQ(twin->uri, mail.messageUri(junk, "3.twin-1"));
  EXPECT_EQ(readFile(junk / "cur/3.twin:2,S"), "Subject: 3\n\nanother program put this here\n");
  EXPECT_FALSE(store.find(messages[2].uri));
  EXPECT_EQ(store.find(twin->uri)->score, 100);
  ASSERT_TRUE(log.find(twin->uri));
  EXPECT_EQ(log.find(twin->uri)->fromUri, messages[2].uri);

  EXPECT_THROW(mover.moveToJunk(messages[3]), JunkStoreError);
  EXPECT_TRUE(std::filesystem::exists(inbox / "new/4.unjudged"));
  EXPECT_TRUE(mover.sync().empty());

  // Back: to the folder recorded, or, for what came into the junk folder otherwise, the inbox.
  store.record(twin->uri, 0, JunkOrigin::User);
  std::optional<MovedMessage> back = mover.moveBack(messageIn(junk, "3.twin-1"));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->file, inbox / "new/3.twin-1");
  EXPECT_FALSE(log.find(twin->uri));
  EXPECT_EQ(store.find(back->uri)->origin, JunkOrigin::User);
  store.record(mail.messageUri(junk, "3.twin"), 0, JunkOrigin::User);
  std::optional<MovedMessage> stray = mover.moveBack(messageIn(junk, "3.twin"));
  ASSERT_TRUE(stray);
  EXPECT_EQ(stray->file, inbox / "cur/3.twin:2,S");
  EXPECT_FALSE(mover.moveBack(messageIn(inbox, "3.twin"))) << "not in a junk folder";

  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(inbox))
    if (entry.is_regular_file() && entry.path().filename() != "maildirfolder")
      files.push_back(entry.path().lexically_relative(inbox).string());
  std::sort(files.begin(), files.end());
  EXPECT_EQ(files, (std::vector<std::string>{".Junk/cur/2.flagged:2,S", "cur/3.twin:2,S",
                                             "new/3.twin-1", "new/4.unjudged"}));
}
