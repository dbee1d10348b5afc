// Verdicts that act on local mail: classify --move-junk over a Maildir++ tree moves the junk
// into the tree's junk folder and mark good brings it back, every message always in exactly one
// place with its bytes and flags; what cannot be moved is refused before anything is asked.
#include "EndToEnd.h"

#include <map>
#include <sys/stat.h>

using namespace endtoend;

namespace {

using JunkFolder = EndToEndTest;

// Every message file below a folder, by its path relative to it, with its bytes.
std::map<std::string, std::string> messageFilesBelow(const path& top) {
  std::map<std::string, std::string> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
    std::string sub = entry.path().parent_path().filename().string();
    if (entry.is_regular_file() && (sub == "cur" || sub == "new"))
      files[entry.path().lexically_relative(top).string()] = sandbox::readFile(entry.path());
  }
  return files;
}

unsigned modeOf(const path& p) {
  struct stat info {};
  return ::stat(p.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

TEST_F(JunkFolder, JunkMovesIntoTheTreesJunkFolderAndMarkingItGoodBringsItBack) {
  installCompanion();
  // In walking order: the top's messages by key, then .Lists.foo, then .Sent. Later events (the
  // second run's, the training) get the last line.
  replies({"score=shor:10", "score=shor:90", "score=shor:95", "score=shor:5", "score=shor:10"});
  path top = mail / "Maildir";
  std::map<std::string, std::string> before = {
      {"cur/1.read:2,S", "Subject: one\n\nhello\n"},
      {"new/2.fresh", "Subject: two\n\nbuy now\n"},
      {".Lists.foo/cur/3.list:2,RS", "Subject: three\n\ncheap\n"},
      {".Sent/cur/4.sent:2,S", "Subject: four\n\nsee you\n"},
  };
  for (const auto& [name, bytes] : before)
    writeMail("Maildir/" + name, bytes);
  fs::create_directories(top / "tmp");

  ProcessRun run = mailhost({"classify", "--recursive", "--move-junk", top.string()});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  path junk = top / ".Junk";
  EXPECT_EQ(linesOf(run.out),
            (std::vector<std::string>{
                "good\t" + folderUri(top, "1.read") + "\t" + (top / "cur/1.read:2,S").string(),
                "junk\t" + folderUri(top, "2.fresh") + "\t" + (top / "new/2.fresh").string() +
                    "\t" + (junk / "new/2.fresh").string(),
                "junk\t" + folderUri(top / ".Lists.foo", "3.list") + "\t" +
                    (top / ".Lists.foo/cur/3.list:2,RS").string() + "\t" +
                    (junk / "cur/3.list:2,RS").string(),
                "good\t" + folderUri(top / ".Sent", "4.sent") + "\t" +
                    (top / ".Sent/cur/4.sent:2,S").string(),
                "4 messages: 2 junk, 2 good, 0 not classified",
            }));
  std::map<std::string, std::string> moved = before;
  moved[".Junk/new/2.fresh"] = moved.extract("new/2.fresh").mapped();
  moved[".Junk/cur/3.list:2,RS"] = moved.extract(".Lists.foo/cur/3.list:2,RS").mapped();
  EXPECT_EQ(messageFilesBelow(top), moved);
  for (const char* dir : {"", "/cur", "/new", "/tmp"})
    EXPECT_EQ(modeOf(junk.string() + dir), 0700u) << dir;
  EXPECT_TRUE(fs::is_regular_file(junk / "maildirfolder"));

  // The junk folder is no folder to classify; what is in it keeps its verdict under its new URI.
  ProcessRun again = mailhost({"classify", "--recursive", "--json", top.string()});
  Json report = Json::parse(again.out);
  ASSERT_EQ(report["messages"].size(), 2u) << again.out;
  EXPECT_EQ(report["messages"][0]["path"], (top / "cur/1.read:2,S").string());
  EXPECT_EQ(report["messages"][1]["path"], (top / ".Sent/cur/4.sent:2,S").string());

  // Back where each came from: by URI to the recorded folder, by path as well.
  std::string listJunkUri = folderUri(junk, "3.list");
  ProcessRun good =
      mailhost({"mark", "--json", "good", listJunkUri, (junk / "new/2.fresh").string()});
  ASSERT_EQ(good.exitCode, 0) << good.err;
  Json marked = Json::parse(good.out);
  ASSERT_EQ(marked.size(), 2u);
  EXPECT_EQ(marked[0]["moved_to"], (top / ".Lists.foo/cur/3.list:2,RS").string());
  EXPECT_EQ(marked[1]["moved_to"], (top / "new/2.fresh").string());
  EXPECT_EQ(messageFilesBelow(top), before);

  ProcessRun list = mailhost({"list", top.string(), (top / ".Lists.foo").string()});
  EXPECT_EQ(list.exitCode, 0) << list.err;
  EXPECT_EQ(linesOf(list.out),
            (std::vector<std::string>{"0    plugin  " + folderUri(top, "1.read"),
                                      "0    user    " + folderUri(top, "2.fresh"),
                                      "0    user    " + folderUri(top / ".Lists.foo", "3.list")}));
}

TEST_F(JunkFolder, MoveJunkTakesMaildirsOnly) {
  installCompanion();
  replies({"score=shor:90"});
  std::string mboxBytes = "From a\nSubject: s\n\nx\n";
  path mbox = writeMail("Inbox", mboxBytes);
  writeMail("Box/cur/1.a:2,", "Subject: a\n\nx\n");
  ProcessRun refused =
      mailhost({"classify", "--move-junk", (mail / "Box").string(), mbox.string()});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_EQ(refused.err, "mailhost: --move-junk: " + mbox.string() +
                             " is not a Maildir folder (mbox mail is best filtered at delivery)\n");
  EXPECT_TRUE(events().empty()) << "nothing is classified";
  EXPECT_EQ(sandbox::readFile(mbox), mboxBytes);

  // A junk folder of its own, made when missing; not a subfolder, so no marker file.
  path spam = mail / "Spam";
  ProcessRun moved =
      mailhost({"classify", "--move-junk=" + spam.string(), (mail / "Box").string()});
  EXPECT_EQ(moved.exitCode, 0) << moved.err;
  EXPECT_EQ(sandbox::readFile(spam / "cur/1.a:2,"), "Subject: a\n\nx\n");
  EXPECT_FALSE(fs::exists(mail / "Box/cur/1.a:2,"));
  EXPECT_FALSE(fs::exists(spam / "maildirfolder"));
}

} // namespace
