#include "CFTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
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
  plist_t array = plist_new_array();
  plist_array_append_item(array, plist_new_uint(1));
  const std::vector<Row> rows = {
      {"int", plist_new_uint(10), {10, true}},
      {"zero", plist_new_uint(0), {0, true}},
      {"negative", plist_new_uint(static_cast<uint64_t>(int64_t{-5})), {-5, true}},
      {"large", plist_new_uint(5000000000ULL), {5000000000L, true}},
      {"real", plist_new_real(10.0), {0, false}},
      {"string", plist_new_string("42"), {42, true}},
      {"string leading blanks and sign", plist_new_string(" \t-17"), {-17, true}},
      {"string plus", plist_new_string("+8"), {8, true}},
      {"string trailing blank", plist_new_string("12 "), {0, false}},
      {"string trailing text", plist_new_string("12abc"), {0, false}},
      {"string decimal", plist_new_string("1.5"), {0, false}},
      {"string empty", plist_new_string(""), {0, false}},
      {"string sign only", plist_new_string("-"), {0, false}},
      {"string overflow", plist_new_string("99999999999"), {INT_MAX, true}},
      {"string underflow", plist_new_string("-99999999999"), {INT_MIN, true}},
      {"boolean", plist_new_bool(1), {0, false}},
      {"data", plist_new_data("12", 2), {0, false}},
      {"date", plist_new_date(0, 0), {0, false}},
      {"array", array, {0, false}},
      {"dict", plist_new_dict(), {0, false}},
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

TEST_F(Preferences, ChangedFileIsSeenAtTheNextCall) {
  writeBytes(file, xmlWithInteger("Level", "10"));
  EXPECT_EQ(CFPreferencesGetAppIntegerValue(CFSTR("Level"), kApp, nullptr), 10) << "no validity";
  replaceFile(file, xmlWithInteger("Level", "40"));
  EXPECT_EQ(lookup("Level"), (Lookup{40, true}));
  replaceFile(file, xmlWithInteger("Other", "1"));
  EXPECT_EQ(lookup("Level"), (Lookup{0, false}));
  std::filesystem::remove(file);
  EXPECT_EQ(lookup("Other"), (Lookup{0, false}));
  // Rewritten in place, the same size.
  writeBytes(file, xmlWithInteger("Level", "50"));
  EXPECT_EQ(lookup("Level"), (Lookup{50, true}));
  writeBytes(file, xmlWithInteger("Level", "60"));
  EXPECT_EQ(lookup("Level"), (Lookup{60, true}));
  // A link to a file kept elsewhere, which is edited there.
  std::string elsewhere = home / "elsewhere.plist";
  writeBytes(elsewhere, xmlWithInteger("Level", "70"));
  std::filesystem::remove(file);
  std::filesystem::create_symlink(elsewhere, file);
  EXPECT_EQ(lookup("Level"), (Lookup{70, true}));
  writeBytes(elsewhere, xmlWithInteger("Level", "80"));
  EXPECT_EQ(lookup("Level"), (Lookup{80, true}));
  // A second name elsewhere, through which it is edited.
  std::filesystem::remove(file);
  writeBytes(elsewhere, xmlWithInteger("Level", "85"));
  std::filesystem::create_hard_link(elsewhere, file);
  EXPECT_EQ(lookup("Level"), (Lookup{85, true}));
  writeBytes(elsewhere, xmlWithInteger("Level", "86"));
  EXPECT_EQ(lookup("Level"), (Lookup{86, true}));
  // The folder itself removed and made again.
  std::filesystem::remove_all(folder);
  EXPECT_EQ(lookup("Level"), (Lookup{0, false}));
  std::filesystem::create_directories(folder);
  writeBytes(file, xmlWithInteger("Level", "90"));
  EXPECT_EQ(lookup("Level"), (Lookup{90, true}));
}

// Corrupt, missing, non-regular and unreadable files all read as empty, without a word.
TEST_F(Preferences, UnusableFilesBehaveAsEmptyAndSayNothing) {
  plist_t root = plist_new_dict();
  plist_dict_set_item(root, "Level", plist_new_uint(10));
  std::string binary = serialize(root, true);
  plist_free(root);
  plist_t array = plist_new_array();
  plist_array_append_item(array, plist_new_uint(10));
  std::string arrayRoot = serialize(array, false);
  plist_free(array);
  auto bytes = [&](std::string content) { return [this, content] { replaceFile(file, content); }; };

  const std::pair<const char*, std::function<void()>> cases[] = {
      {"no file", [] {}},
      {"garbage", bytes("this is not a property list\n")},
      {"empty", bytes("")},
      {"truncated binary", bytes(binary.substr(0, binary.size() / 2))},
      {"truncated xml", bytes(xmlWithInteger("Level", "10").substr(0, 60))},
      {"array at the root", bytes(arrayRoot)},
      {"nul bytes", bytes(std::string(64, '\0'))},
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
    std::filesystem::remove_all(file);
    arrange();
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    Lookup got = lookup("Level");
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(got, (Lookup{0, false}));
    EXPECT_EQ(out + testing::internal::GetCapturedStderr(), "");
  }
  // Once repaired, the file is read again.
  std::filesystem::remove_all(file);
  replaceFile(file, xmlWithInteger("Level", "30"));
  EXPECT_EQ(lookup("Level"), (Lookup{30, true}));
}

// A NUL inside a string or a key (only a hand-made file has one) ends it.
TEST_F(Preferences, NulInsideAStringOrKeyEndsIt) {
  using namespace std::string_literals;
  replaceFile(file, "<plist version=\"1.0\"><dict><key>Level</key><string>42\0junk</string>"
                    "<key>Max\0junk</key><string>7</string></dict></plist>\n"s);
  EXPECT_EQ(lookup("Level"), (Lookup{42, true}));
  EXPECT_EQ(lookup("Max"), (Lookup{7, true}));

  // A binary file can hold one inside a key (stored in UTF-16 when not ASCII).
  plist_t root = plist_new_dict();
  plist_dict_set_item(root, "Max\u00c4", plist_new_uint(9));
  std::string binary = serialize(root, true);
  plist_free(root);
  binary.replace(binary.find("\0M\0a\0x\0\xc4"s), 8, "\0M\0a\0x\0\0"s);
  replaceFile(file, binary);
  EXPECT_EQ(lookup("Max"), (Lookup{9, true}));
}

TEST_F(Preferences, SetAndSynchronizeWriteAPrivateXmlFile) {
  std::filesystem::remove_all((home / "Library").string());
  SInt32 level = 25;
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &level);
  CFPreferencesSetAppValue(CFSTR("Level"), number, kApp);
  CFPreferencesSetAppValue(CFSTR("Name"), CFSTR("caf\xc3\xa9"), kApp);
  CFRelease(number);
  // Visible before it is written.
  EXPECT_EQ(lookup("Level"), (Lookup{25, true}));
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));

  for (const auto& [path, mode] :
       {std::pair{file, 0600u}, {folder, 0700u}, {(home / "Library").string(), 0700u}}) {
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0) << path;
    EXPECT_EQ(st.st_mode & 0777, mode) << path;
  }

  std::ifstream in(file, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(bytes.rfind("<?xml", 0), 0u);
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
  ASSERT_NE(root, nullptr);
  uint64_t stored = 0;
  plist_get_uint_val(plist_dict_get_item(root, "Level"), &stored);
  EXPECT_EQ(stored, 25u);
  char* name = nullptr;
  plist_get_string_val(plist_dict_get_item(root, "Name"), &name);
  EXPECT_STREQ(name, "caf\xc3\xa9");
  free(name);
  plist_free(root);
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

TEST_F(Preferences, ConcurrentReadersSeeOnlyWholeValues) {
  writeBytes(file, xmlWithInteger("Level", "10"));
  std::atomic<bool> stop{false};
  std::atomic<int> bad{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&] {
      while (!stop) {
        Lookup got = lookup("Level");
        if (!(got == Lookup{10, true} || got == Lookup{20, true})) {
          ++bad;
        }
      }
    });
  }
  for (int i = 0; i < 200; ++i) {
    replaceFile(file, xmlWithInteger("Level", i % 2 ? "10" : "20"));
  }
  stop = true;
  for (auto& reader : readers) {
    reader.join();
  }
  EXPECT_EQ(bad, 0);
}
