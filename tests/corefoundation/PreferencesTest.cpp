#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <plist/plist.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const CFStringRef kApp = CFSTR("org.example.cftest");

struct Lookup {
  CFIndex value;
  bool valid;
  bool operator==(const Lookup&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Lookup& l) {
  return out << "{" << l.value << ", " << (l.valid ? "valid" : "invalid") << "}";
}

Lookup lookup(const char* key, CFStringRef app = kApp) {
  CFStringRef k = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
  Boolean valid = true;
  CFIndex value = CFPreferencesGetAppIntegerValue(k, app, &valid);
  CFRelease(k);
  return {value, valid != 0};
}

// A long-running process takes in an edit made from outside within a short while, not
// necessarily at the very next call.
Lookup lookupOnceSeen(const char* key, Lookup expected) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  Lookup got = lookup(key);
  while (!(got == expected) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    got = lookup(key);
  }
  return got;
}

void writeBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
}

// Written elsewhere and renamed into place, as an editor or another program saves.
void replaceFile(const std::string& path, const std::string& bytes) {
  writeBytes(path + ".new", bytes);
  ASSERT_EQ(rename((path + ".new").c_str(), path.c_str()), 0);
}

std::string serialize(plist_t root, bool binary) {
  char* bytes = nullptr;
  uint32_t length = 0;
  if (binary) {
    plist_to_bin(root, &bytes, &length);
  } else {
    plist_to_xml(root, &bytes, &length);
  }
  std::string out(bytes, length);
  binary ? plist_to_bin_free(bytes) : plist_to_xml_free(bytes);
  return out;
}

std::string xmlWithInteger(const char* key, const char* digits) {
  return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n"
                     "<dict><key>") +
         key + "</key><integer>" + digits + "</integer></dict>\n</plist>\n";
}

class Preferences : public testing::Test {
protected:
  void SetUp() override {
    setenv("CFFIXED_USER_HOME", home.path().c_str(), 1);
    folder = home / "Library/Preferences";
    std::filesystem::create_directories(folder);
    file = folder + "/org.example.cftest.plist";
  }
  void TearDown() override { unsetenv("CFFIXED_USER_HOME"); }

  cftest::TempDir home;
  std::string folder;
  std::string file;
};

class PreferenceFormats : public Preferences, public testing::WithParamInterface<bool> {};

} // namespace

TEST_P(PreferenceFormats, IntegerValidityTable) {
  struct Row {
    const char* key;
    plist_t node;
    Lookup expected;
  };
  const std::vector<Row> rows = {
      {"int", plist_new_uint(10), {10, true}},
      {"negative", plist_new_uint(static_cast<uint64_t>(int64_t{-5})), {-5, true}},
      {"large", plist_new_uint(5000000000ULL), {5000000000L, true}},
      {"real", plist_new_real(10.0), {0, false}},
      {"string", plist_new_string("42"), {42, true}},
      {"string leading blanks and sign", plist_new_string(" \t-17"), {-17, true}},
      {"string trailing blank", plist_new_string("12 "), {0, false}},
      {"string empty", plist_new_string(""), {0, false}},
      {"string overflow", plist_new_string("99999999999"), {INT_MAX, true}},
      {"boolean", plist_new_bool(1), {0, false}},
      {"data", plist_new_data("12", 2), {0, false}},
  };
  plist_t root = plist_new_dict();
  for (const Row& row : rows) {
    plist_dict_set_item(root, row.key, row.node);
  }
  writeBytes(file, serialize(root, GetParam()));
  plist_free(root);

  for (const Row& row : rows) {
    EXPECT_EQ(lookup(row.key), row.expected) << row.key;
  }
  EXPECT_EQ(lookup("missing"), (Lookup{0, false}));
}

INSTANTIATE_TEST_SUITE_P(XmlAndBinary, PreferenceFormats, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& param) {
                           return param.param ? "Binary" : "Xml";
                         });

TEST_F(Preferences, ChangedFileReachesALongRunningProcess) {
  writeBytes(file, xmlWithInteger("Level", "10"));
  for (int ask = 0; ask < 100; ++ask) { // enough for the folder to be watched
    lookup("Level");
  }
  EXPECT_EQ(CFPreferencesGetAppIntegerValue(CFSTR("Level"), kApp, nullptr), 10) << "no validity";
  replaceFile(file, xmlWithInteger("Level", "40"));
  EXPECT_EQ(lookupOnceSeen("Level", {40, true}), (Lookup{40, true}));
  replaceFile(file, xmlWithInteger("Other", "1"));
  EXPECT_EQ(lookupOnceSeen("Level", {0, false}), (Lookup{0, false}));
  std::filesystem::remove(file);
  EXPECT_EQ(lookupOnceSeen("Other", {0, false}), (Lookup{0, false}));
  // Rewritten in place, the same size.
  writeBytes(file, xmlWithInteger("Level", "50"));
  EXPECT_EQ(lookupOnceSeen("Level", {50, true}), (Lookup{50, true}));
  writeBytes(file, xmlWithInteger("Level", "60"));
  EXPECT_EQ(lookupOnceSeen("Level", {60, true}), (Lookup{60, true}));
  // A link to a file kept elsewhere, which is edited there.
  std::string elsewhere = home / "elsewhere.plist";
  writeBytes(elsewhere, xmlWithInteger("Level", "70"));
  std::filesystem::remove(file);
  std::filesystem::create_symlink(elsewhere, file);
  EXPECT_EQ(lookupOnceSeen("Level", {70, true}), (Lookup{70, true}));
  writeBytes(elsewhere, xmlWithInteger("Level", "80"));
  EXPECT_EQ(lookupOnceSeen("Level", {80, true}), (Lookup{80, true}));
  // A second name elsewhere, through which it is edited.
  std::filesystem::remove(file);
  writeBytes(elsewhere, xmlWithInteger("Level", "85"));
  std::filesystem::create_hard_link(elsewhere, file);
  EXPECT_EQ(lookupOnceSeen("Level", {85, true}), (Lookup{85, true}));
  writeBytes(elsewhere, xmlWithInteger("Level", "86"));
  EXPECT_EQ(lookupOnceSeen("Level", {86, true}), (Lookup{86, true}));
  // The folder itself removed and made again.
  std::filesystem::remove_all(folder);
  EXPECT_EQ(lookupOnceSeen("Level", {0, false}), (Lookup{0, false}));
  std::filesystem::create_directories(folder);
  writeBytes(file, xmlWithInteger("Level", "90"));
  EXPECT_EQ(lookupOnceSeen("Level", {90, true}), (Lookup{90, true}));
}

// Corrupt, missing, non-regular and unreadable files all read as empty, without a word.
TEST_F(Preferences, UnusableFilesBehaveAsEmptyAndSayNothing) {
  plist_t root = plist_new_dict();
  plist_dict_set_item(root, "Level", plist_new_uint(10));
  std::string binary = serialize(root, true);
  plist_free(root);
  auto bytes = [&](std::string content) { return [this, content] { replaceFile(file, content); }; };

  const std::pair<const char*, std::function<void()>> cases[] = {
      {"no file", [] {}},
      {"garbage", bytes("this is not a property list\n")},
      {"truncated binary", bytes(binary.substr(0, binary.size() / 2))},
      {"directory", [this] { std::filesystem::create_directory(file); }},
      {"FIFO (must not block)", [this] { ASSERT_EQ(mkfifo(file.c_str(), 0600), 0); }},
      {"unreadable",
       [this] {
         writeBytes(file, xmlWithInteger("Level", "10"));
         chmod(file.c_str(), geteuid() == 0 ? 0644 : 0); // root reads any file
         if (geteuid() == 0)
           std::filesystem::remove(file);
       }},
  };
  for (const auto& [what, arrange] : cases) {
    SCOPED_TRACE(what);
    // A usable file first, so that the unusable one is known to have been looked at.
    std::filesystem::remove_all(file);
    replaceFile(file, xmlWithInteger("Level", "20"));
    ASSERT_EQ(lookupOnceSeen("Level", {20, true}), (Lookup{20, true}));
    std::filesystem::remove_all(file);
    arrange();
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    Lookup got = lookupOnceSeen("Level", {0, false});
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(got, (Lookup{0, false}));
    EXPECT_EQ(out + testing::internal::GetCapturedStderr(), "");
  }
  // Once repaired, the file is read again.
  std::filesystem::remove_all(file);
  replaceFile(file, xmlWithInteger("Level", "30"));
  EXPECT_EQ(lookupOnceSeen("Level", {30, true}), (Lookup{30, true}));
}

TEST_F(Preferences, SetAndSynchronizeWriteAPrivateXmlFile) {
  std::filesystem::remove_all((home / "Library").string());
  SInt32 level = 25;
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &level);
  CFPreferencesSetAppValue(CFSTR("Level"), number, kApp);
  CFRelease(number);
  // Visible before it is written.
  EXPECT_EQ(lookup("Level"), (Lookup{25, true}));
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(lookup("Level"), (Lookup{25, true})) << "written here: seen at once";

  for (const auto& [path, mode] :
       {std::pair{file, 0600u}, {folder, 0700u}, {(home / "Library").string(), 0700u}}) {
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0) << path;
    EXPECT_EQ(st.st_mode & 0777, mode) << path;
  }

  EXPECT_EQ(testsupport::readFile(file).rfind("<?xml", 0), 0u);
}

TEST_F(Preferences, SynchronizeKeepsKeysWrittenByOthersAndRemovesNullValues) {
  writeBytes(file, xmlWithInteger("Theirs", "7"));
  CFPreferencesSetAppValue(CFSTR("Mine"), CFSTR("12"), kApp);
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(lookup("Theirs"), (Lookup{7, true}));
  EXPECT_EQ(lookup("Mine"), (Lookup{12, true}));

  CFPreferencesSetAppValue(CFSTR("Theirs"), nullptr, kApp);
  EXPECT_EQ(lookup("Theirs"), (Lookup{0, false}));
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(lookup("Theirs"), (Lookup{0, false}));
  EXPECT_EQ(lookup("Mine"), (Lookup{12, true}));
}
