// scripts/corpus.mjs, run with the real node on small corpora laid out as the published package
// lays them out: the split that the demo and the benchmarks rest on, and the tallies they print.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Outcome {
  int status;
  std::string out;
};

Outcome run(const std::string& command) {
  Outcome result{-1, {}};
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe)
    return result;
  std::array<char, 4096> buffer{};
  std::size_t n;
  while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
    result.out.append(buffer.data(), n);
  int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

class CorpusTool : public ::testing::Test {
protected:
  void SetUp() override {
    if (run("node --version").status != 0)
      GTEST_SKIP() << "node is not installed";
    char pattern[] = "/tmp/corpus-tool-XXXXXX";
    mRoot = mkdtemp(pattern);
  }
  void TearDown() override {
    if (!mRoot.empty())
      fs::remove_all(mRoot);
  }

  // A corpus of `perGroup` messages in each of a good and a spam group; file_list.json in the
  // given order. Returns each message's bytes by "<group>.<id>".
  std::map<std::string, std::string> makeCorpus(int perGroup, bool reversed = false) {
    std::map<std::string, std::string> messages;
    std::vector<std::string> list;
    for (std::string group : {"easy-ham-1", "spam-2"}) {
      for (int i = 1; i <= perGroup; ++i) {
        char id[16];
        std::snprintf(id, sizeof id, "%05d", i);
        std::string body = "Subject: " + group + " " + id + "\n\nline\r\n\xe9\xff end\n";
        std::string file = group + "/" + id + ".0123abcd.txt";
        // Most messages keep their mbox "From " line, as the published files do.
        std::string bytes =
            (i % 3 ? "From someone@example.org  Thu Aug 22 12:36:23 2002\n" : "") + body;
        writeFile(data() / file, bytes);
        messages[group + "." + id] = body;
        list.push_back(file);
      }
    }
    if (reversed)
      std::reverse(list.begin(), list.end());
    std::ostringstream json;
    json << "[";
    for (std::size_t i = 0; i < list.size(); ++i)
      json << (i ? "," : "") << "\"" << list[i] << "\"";
    json << "]";
    writeFile(data() / "file_list.json", json.str());
    return messages;
  }

  Outcome tool(const std::string& arguments) {
    return run("node " QB_SOURCE_DIR "/scripts/corpus.mjs " + arguments);
  }

  // Every message file under `out`: "<part>/<label>" by "<group>.<id>", checking the Maildir
  // shape on the way.
  std::map<std::string, std::string> placement(const fs::path& out, std::size_t chunk) {
    std::map<std::string, std::string> where;
    for (std::string part : {"train", "heldout"})
      for (std::string label : {"spam", "ham"}) {
        if (!fs::exists(out / part / label))
          continue;
        for (auto& folder : fs::directory_iterator(out / part / label)) {
          EXPECT_TRUE(fs::is_directory(folder.path() / "new"));
          std::size_t count = 0;
          for (auto& file : fs::directory_iterator(folder.path() / "cur")) {
            std::string name = file.path().filename();
            EXPECT_EQ(name.substr(name.size() - 3), ":2,");
            std::string key = name.substr(0, name.size() - 3);
            EXPECT_FALSE(where.count(key)) << key << " written twice";
            where[key] = part + "/" + label;
            ++count;
          }
          EXPECT_LE(count, chunk) << folder.path();
        }
      }
    return where;
  }

  fs::path data() const { return mRoot / "data"; }
  fs::path mRoot;
};

TEST_F(CorpusTool, SplitPlacesEveryMessageOnceByLabelWithItsBytesLessTheFromLine) {
  auto messages = makeCorpus(60);
  Outcome split = tool("split " + data().string() + " " + (mRoot / "mail").string() + " --chunk 7");
  ASSERT_EQ(split.status, 0) << split.out;
  auto where = placement(mRoot / "mail", 7);
  ASSERT_EQ(where.size(), messages.size());
  std::map<std::string, int> perPart;
  for (auto& [key, place] : where) {
    std::string label = place.substr(place.find('/') + 1);
    EXPECT_EQ(label, key.rfind("spam", 0) == 0 ? "spam" : "ham") << key;
    perPart[place.substr(0, place.find('/'))]++;
    fs::path cur = mRoot / "mail" / place;
    for (auto& folder : fs::directory_iterator(cur)) {
      fs::path file = folder.path() / "cur" / (key + ":2,");
      if (fs::exists(file)) {
        EXPECT_EQ(readFile(file), messages[key]) << key;
      }
    }
  }
  // About a fifth held out: 120 messages, so between 10 and 40 by any reasonable hash.
  EXPECT_GT(perPart["heldout"], 10);
  EXPECT_LT(perPart["heldout"], 40);
  EXPECT_NE(split.out.find("\"heldout\""), std::string::npos);
}

TEST_F(CorpusTool, SplitIsTheSameWhateverTheFileOrderAndChunkSize) {
  makeCorpus(40);
  ASSERT_EQ(tool("split " + data().string() + " " + (mRoot / "a").string()).status, 0);
  auto first = placement(mRoot / "a", 100);
  makeCorpus(40, /*reversed=*/true);
  ASSERT_EQ(tool("split " + data().string() + " " + (mRoot / "b").string() + " --chunk 3").status,
            0);
  EXPECT_EQ(placement(mRoot / "b", 3), first);
}

TEST_F(CorpusTool, SplitLimitTakesTheFirstMessagesOfEachGroupAndRefusesBadInput) {
  makeCorpus(20);
  ASSERT_EQ(tool("split " + data().string() + " " + (mRoot / "m").string() + " --limit 4").status,
            0);
  auto where = placement(mRoot / "m", 100);
  std::set<std::string> keys;
  for (auto& entry : where)
    keys.insert(entry.first);
  EXPECT_EQ(keys, (std::set<std::string>{"easy-ham-1.00001", "easy-ham-1.00002", "easy-ham-1.00003",
                                         "easy-ham-1.00004", "spam-2.00001", "spam-2.00002",
                                         "spam-2.00003", "spam-2.00004"}));

  EXPECT_EQ(tool("split " + (mRoot / "nowhere").string() + " " + (mRoot / "x").string()).status, 2);
  EXPECT_EQ(tool("split " + data().string() + " " + (mRoot / "x").string() + " --chunk -1").status,
            2);
  EXPECT_EQ(tool("frobnicate").status, 2);
}

TEST_F(CorpusTool, VolumeRepeatsTheWholeCorpusEachRoundWithTheGroupsMixed) {
  auto messages = makeCorpus(3); // 6 messages, the good group listed first
  ASSERT_EQ(tool("volume " + data().string() + " " + (mRoot / "v").string() + " 14").status, 0);
  std::map<std::string, int> perRound;
  std::set<std::string> names;
  for (auto& file : fs::directory_iterator(mRoot / "v" / "cur")) {
    std::string name = file.path().filename();
    names.insert(name);
    std::string key = name.substr(0, name.rfind('.'));
    EXPECT_EQ(readFile(file.path()), messages[key]) << name;
    perRound[name.substr(name.rfind('.') + 1)]++;
  }
  EXPECT_EQ(names.size(), 14u);
  EXPECT_EQ(perRound, (std::map<std::string, int>{{"0:2,", 6}, {"1:2,", 6}, {"2:2,", 2}}));
  // The last, partial round is not all from the group listed first.
  int spamInLastRound = 0;
  for (auto& name : names)
    spamInLastRound += name.rfind("spam", 0) == 0 && name.find(".2:2,") != std::string::npos;
  EXPECT_GE(spamInLastRound, 1);
}

TEST_F(CorpusTool, TallyCountsEachCellAndTheRates) {
  // 3 spam (2 junk, 1 good), 5 ham (1 junk, 3 good, 1 unclassified), 1 from no labelled folder.
  std::string doc = R"({"messages": [
    {"folder": "/m/heldout/spam/000", "uri": "u1", "verdict": "junk"},
    {"folder": "/m/heldout/spam/000", "uri": "u2", "verdict": "junk"},
    {"folder": "/m/heldout/spam/001", "uri": "u3", "verdict": "good"},
    {"folder": "/m/heldout/ham/000", "uri": "u4", "verdict": "junk"},
    {"folder": "/m/heldout/ham/000", "uri": "u5", "verdict": "good"},
    {"folder": "/m/heldout/ham/000", "uri": "u6", "verdict": "good"},
    {"folder": "/m/heldout/ham/001", "uri": "u7", "verdict": "good"},
    {"folder": "/m/heldout/ham/001", "uri": "u8", "verdict": "unclassified"},
    {"folder": "/elsewhere", "uri": "u9", "verdict": "junk"}]})";
  writeFile(mRoot / "r.json", doc);
  Outcome tally = tool("tally 2 " + (mRoot / "r.json").string());
  ASSERT_EQ(tally.status, 0) << tally.out;
  for (const char* expected :
       {R"(actual spam +2 +1 +0\n)", R"(actual ham +1 +3 +1\n)",
        R"(messages +8 \(and 1 without a label\))", R"(accuracy +62\.50%)",
        R"(false positives +20\.00%)", R"(false negatives +33\.33%)", R"(speed +4\.0 messages/s)"})
    EXPECT_TRUE(std::regex_search(tally.out, std::regex(expected))) << expected << "\n"
                                                                    << tally.out;
}

TEST_F(CorpusTool, AgreementComparesVerdictsWithBogofilterScoresAtFifty) {
  writeFile(mRoot / "r.json", R"({"messages": [
    {"uri": "mailbox-message://nobody@Local%20Folders/m#spam-2.00001", "verdict": "junk"},
    {"uri": "mailbox-message://nobody@Local%20Folders/m#easy-ham-1.00001", "verdict": "good"},
    {"uri": "mailbox-message://nobody@Local%20Folders/m#easy-ham-1.00002", "verdict": "good"},
    {"uri": "mailbox-message://nobody@Local%20Folders/m#easy-ham-1.00003", "verdict": "junk"},
    {"uri": "mailbox-message://nobody@Local%20Folders/m#spam-2.00009", "verdict": "junk"}]})");
  // A score of exactly 50 is junk; 0.4949 rounds to 49, good.
  writeFile(mRoot / "bogofilter.txt", "/m/cur/spam-2.00001:2, 0.9999\n"
                                      "/m/cur/easy-ham-1.00001:2, 0.4949\n"
                                      "/m/cur/easy-ham-1.00002:2, 0.5000\n"
                                      "/m/cur/easy-ham-1.00003:2, 0.0001\n");
  Outcome agreement =
      tool("agreement " + (mRoot / "r.json").string() + " " + (mRoot / "bogofilter.txt").string());
  ASSERT_EQ(agreement.status, 0) << agreement.out;
  EXPECT_NE(agreement.out.find("\"same\":2,\"differ\":2,\"missing\":1"), std::string::npos)
      << agreement.out;
}

} // namespace
