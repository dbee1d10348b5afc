// scripts/corpus.mjs with the real node, on small corpora laid out as the published package lays
// them out: the split that the demo and the benchmarks rest on.
#include "Shell.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>

namespace fs = std::filesystem;

namespace {

class CorpusTool : public ::testing::Test {
protected:
  void SetUp() override {
    if (runShell("node --version").status != 0)
      GTEST_SKIP() << "node is not installed";
  }

  // `perGroup` messages in a good and a spam group, most starting with an mbox "From " line as
  // the published files do. Returns each message's expected Maildir bytes by "<group>.<id>".
  std::map<std::string, std::string> makeCorpus(int perGroup, bool reversed = false) {
    std::map<std::string, std::string> messages;
    std::string list;
    for (std::string group : {"easy-ham-1", "spam-2"}) {
      for (int i = 1; i <= perGroup; ++i) {
        char id[16];
        std::snprintf(id, sizeof id, "%05d", i);
        std::string body = "Subject: " + group + " " + id + "\n\nline\r\n\xe9\xff end\n";
        std::string file = group + "/" + id + ".0123abcd.txt";
        writeFile(data() / file,
                  (i % 3 ? "From a@example.org  Thu Aug 22 12:36:23 2002\n" : "") + body);
        messages[group + "." + id] = body;
        std::string entry = "\"" + file + "\"";
        list = list.empty() ? entry : reversed ? entry + "," + list : list + "," + entry;
      }
    }
    writeFile(data() / "file_list.json", "[" + list + "]");
    return messages;
  }

  ShellOutcome tool(const std::string& arguments) {
    return runShell("node " QB_SOURCE_DIR "/scripts/corpus.mjs " + arguments);
  }
  ShellOutcome split(const std::string& out, const std::string& options = "") {
    return tool("split " + data().string() + " " + (mTemp.path() / out).string() + " " + options);
  }

  // Where each message landed ("<part>/<label>" by "<group>.<id>") and its bytes, checking the
  // Maildir shape and the folder size on the way.
  std::map<std::string, std::string>
  placement(const std::string& out, std::size_t chunk,
            std::map<std::string, std::string>* bytes = nullptr) {
    std::map<std::string, std::string> where;
    for (auto& labelDir : fs::recursive_directory_iterator(mTemp.path() / out)) {
      if (labelDir.path().filename() != "cur")
        continue;
      EXPECT_TRUE(fs::is_directory(labelDir.path().parent_path() / "new"));
      std::string place =
          fs::relative(labelDir.path().parent_path().parent_path(), mTemp.path() / out);
      std::size_t count = 0;
      for (auto& file : fs::directory_iterator(labelDir.path())) {
        std::string name = file.path().filename();
        std::string key = name.substr(0, name.size() - 3);
        EXPECT_EQ(name.substr(name.size() - 3), ":2,");
        EXPECT_TRUE(where.emplace(key, place).second) << key << " written twice";
        if (bytes)
          (*bytes)[key] = readFile(file.path());
        ++count;
      }
      EXPECT_LE(count, chunk) << labelDir.path();
    }
    return where;
  }

  fs::path data() const { return mTemp.path() / "data"; }
  TempDir mTemp;
};

TEST_F(CorpusTool, SplitPlacesEveryMessageOnceByLabelWithItsBytesLessTheFromLine) {
  auto messages = makeCorpus(60);
  ShellOutcome run = split("mail", "--chunk 7");
  ASSERT_EQ(run.status, 0) << run.out;
  std::map<std::string, std::string> bytes;
  auto where = placement("mail", 7, &bytes);
  ASSERT_EQ(where.size(), messages.size());
  EXPECT_EQ(bytes, messages);
  int heldOut = 0;
  for (auto& [key, place] : where) {
    EXPECT_EQ(place.substr(place.find('/') + 1), key.rfind("spam", 0) == 0 ? "spam" : "ham") << key;
    heldOut += place.rfind("heldout/", 0) == 0;
  }
  EXPECT_GT(heldOut, 10); // about a fifth of 120
  EXPECT_LT(heldOut, 40);
}

// The same whatever the file order and folder size; a limit takes each group's first messages.
TEST_F(CorpusTool, SplitIsTheSameWhateverTheFileOrderAndFolderSize) {
  makeCorpus(40);
  ASSERT_EQ(split("a").status, 0);
  makeCorpus(40, /*reversed=*/true);
  ASSERT_EQ(split("b", "--chunk 3").status, 0);
  EXPECT_EQ(placement("b", 3), placement("a", 100));
  makeCorpus(40);
  ASSERT_EQ(split("m", "--limit 2").status, 0);
  std::set<std::string> keys;
  for (auto& entry : placement("m", 100))
    keys.insert(entry.first);
  EXPECT_EQ(keys, (std::set<std::string>{"easy-ham-1.00001", "easy-ham-1.00002", "spam-2.00001",
                                         "spam-2.00002"}));
}

} // namespace
