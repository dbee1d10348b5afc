// The 8-bit string API: the operations the plug-in relies on, and their edges.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "nsStringAPI.h"
#include "nsXPCOM.h"
#include "plstr.h"

namespace {

std::string Str(const nsACString& s) {
  return std::string(s.get(), s.Length());
}

TEST(StringAPI, BuildsAndComparesStrings) {
  nsCString empty;
  EXPECT_TRUE(empty.IsEmpty() && empty.Equals("") && !strcmp(empty.get(), ""));

  nsCString s("imap://host/INBOX");
  EXPECT_EQ(s.Length(), 17u);
  EXPECT_TRUE(s.Equals("imap://host/INBOX") && s == "imap://host/INBOX");
  EXPECT_FALSE(s.Equals("imap://host/INBO") || s.Equals("imap://host/INBOXX"));

  nsCString counted("abcdef", 3);
  EXPECT_EQ(Str(counted), "abc");
  EXPECT_EQ(counted.get()[3], '\0') << "data is always terminated";

  // Bytes after an embedded NUL count in the length and in comparisons.
  nsCString binary("a\0b", 3);
  EXPECT_EQ(binary.Length(), 3u);
  EXPECT_FALSE(binary.Equals("a"));
  EXPECT_TRUE(binary.Equals(nsCString("a\0b", 3)));
}

TEST(StringAPI, FindsCharactersAndSubstrings) {
  nsCString uri("mailbox-message://u@h/Inbox#12?x:y");
  struct {
    char c;
    PRUint32 from;
    PRInt32 at;
  } chars[] = {{':', 0, 15}, {':', 16, 32}, {'#', 0, 27}, {'Z', 0, -1}, {':', 99, -1}};
  for (auto& c : chars)
    EXPECT_EQ(uri.FindChar(c.c, c.from), c.at) << c.c << " from " << c.from;

  nsCString display("file:///m.eml?type=application/x-message-display");
  EXPECT_EQ(display.Find("application/x-message-display"), 19);
  EXPECT_EQ(display.Find("Application/x-message-display"), -1) << "case-sensitive";
  EXPECT_EQ(nsCString("aab").Find("ab"), 1);
}

// The plug-in frees its PL_strdup copies with NS_Free: one allocator serves both.
TEST(SharedMemory, StringCopiesAreFreedWithTheSharedAllocator) {
  NS_Free(nullptr);
  char* copy = PL_strdup("uri");
  EXPECT_STREQ(copy, "uri");
  NS_Free(copy);
  copy = PL_strdup(nullptr);
  EXPECT_STREQ(copy, "");
  NS_Free(copy);
}

} // namespace
