// IMAP folder URLs and message URIs as the commands and the imap message service read them:
// every part that names the account, folder or message, and the texts that are refused.
#include "ImapUri.h"
#include "MailError.h"

#include <gtest/gtest.h>

using namespace mailhost;

namespace {

TEST(ImapUri, ReadsAndWritesTheAccountFolderAndUid) {
  ImapMessageRef m = parseImapMessageUri("imap-message://me%40example.org@mail.example.org/"
                                         "Lists/Caf%C3%A9%20%231#4711?header=filter");
  EXPECT_EQ(m.user, "me@example.org");
  EXPECT_EQ(m.host, "mail.example.org");
  EXPECT_EQ(m.folder, "Lists/Caf\xC3\xA9 #1");
  EXPECT_EQ(m.uid, 4711u);
  EXPECT_EQ(imapMessageUri(m.user, m.host, m.folder, m.uid),
            "imap-message://me%40example.org@mail.example.org/Lists/Caf%C3%A9%20%231#4711");

  ImapFolderRef f = parseImapFolderUrl("imap://me%40example.org@mail.example.org:1143");
  EXPECT_EQ(f.user, "me@example.org");
  EXPECT_EQ(f.port, 1143);
  EXPECT_EQ(f.folder, "INBOX");
  EXPECT_EQ(parseImapFolderUrl("imap://a@h/Archive/2024/").folder, "Archive/2024");
}

TEST(ImapUri, RefusesWhatNamesNoMessage) {
  for (const char* text : {
           "imap-message://a@h/INBOX",            // no UID
           "imap-message://a@h/INBOX#0",          // UIDs start at 1
           "imap-message://a@h/INBOX#4294967296", // beyond 32 bits
           "imap-message://h/INBOX#1",            // no user
           "imap-message://a@h:143/INBOX#1",      // a message URI names no port
           "imap-message://a@h/INBOX//Sub#1",     // an empty folder name
           "imap-message://a@h/IN%zzBOX#1",       // a broken escape
       }) {
    EXPECT_THROW(parseImapMessageUri(text), MailError) << text;
  }
  for (const char* text :
       {"imap://a@h:0/INBOX", "imap://a@h:65536/INBOX", "imap://a@/INBOX", "imap://@h/INBOX"})
    EXPECT_THROW(parseImapFolderUrl(text), MailError) << text;
}

} // namespace
