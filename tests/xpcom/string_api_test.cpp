// The 8-bit string API: the operations components rely on, their edges, and aliasing.
#include <gtest/gtest.h>

#include <climits>
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
  EXPECT_TRUE(empty.Equals(static_cast<const char*>(nullptr)));

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

TEST(StringAPI, AppendsEveryKind) {
  nsCString s;
  s.Append("@mozilla.org/messenger/messageservice;1?type=");
  s.Append("imap");
  s.Append(':');
  nsCString tail("x");
  s.Append(tail);
  s += "y";
  s.AppendInt(-42);
  s.AppendInt(INT_MIN);
  s.AppendInt(0);
  EXPECT_EQ(Str(s), "@mozilla.org/messenger/messageservice;1?type=imap:xy-42-21474836480");
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
  EXPECT_EQ(uri.RFindChar(':'), 32);
  EXPECT_EQ(nsCString().FindChar(':'), -1);

  nsCString display("file:///m.eml?type=application/x-message-display");
  EXPECT_EQ(display.Find("application/x-message-display"), 19);
  EXPECT_EQ(display.Find("Application/x-message-display"), -1) << "case-sensitive";
  EXPECT_EQ(display.Find("display", 45), -1);
  EXPECT_EQ(display.Find(""), 0);
  EXPECT_EQ(nsCString("ab").Find("abc"), -1);
  EXPECT_EQ(nsCString("aab").Find("ab"), 1);
  EXPECT_TRUE(display.StartsWith("file:"));
  EXPECT_FALSE(nsCString("fi").StartsWith("file:"));
}

TEST(StringAPI, TakesPartsOfAStringWithClampedRanges) {
  const nsCString uri("imap://host/INBOX#5");
  nsCString part;
  EXPECT_EQ(uri.Left(part, PRUint32(uri.FindChar(':'))), 4u);
  EXPECT_EQ(Str(part), "imap");
  EXPECT_EQ(uri.Mid(part, 7, 4), 4u);
  EXPECT_EQ(Str(part), "host");
  EXPECT_EQ(uri.Mid(part, 17, 100), 2u) << "count clamped to the end";
  EXPECT_EQ(Str(part), "#5");
  EXPECT_EQ(uri.Mid(part, 100, 2), 0u) << "start past the end gives nothing";
  EXPECT_TRUE(part.IsEmpty());
  EXPECT_EQ(uri.Right(part, 1), 1u);
  EXPECT_EQ(Str(part), "5");
  EXPECT_EQ(Str(Substring(uri, 12)) + Str(StringHead(uri, 4)) + Str(StringTail(uri, 2)),
            "INBOX#5imap#5");
}

TEST(StringAPI, EditsInPlaceWithClampedRanges) {
  nsCString s("0123456789");
  s.Cut(2, 3);
  EXPECT_EQ(Str(s), "0156789");
  s.Cut(5, 100);
  EXPECT_EQ(Str(s), "01567");
  s.Insert("ab", 1);
  EXPECT_EQ(Str(s), "0ab1567");
  s.Replace(0, 3, "X");
  EXPECT_EQ(Str(s), "X1567");
  s.Insert("!", 99);
  EXPECT_EQ(Str(s), "X1567!") << "an offset past the end appends";
  s.Truncate(3);
  EXPECT_EQ(Str(s), "X15");
  s.Truncate(10);
  EXPECT_EQ(Str(s), "X15") << "truncating to more than the length changes nothing";
  s.Truncate();
  EXPECT_TRUE(s.IsEmpty());
  s.Assign("abc");
  s.SetLength(1);
  EXPECT_EQ(Str(s), "a");
}

TEST(StringAPI, CopesWithItsOwnDataAsInput) {
  nsCString s("abc");
  s.Append(s.get());
  EXPECT_EQ(Str(s), "abcabc");
  s.Append(s);
  EXPECT_EQ(Str(s), "abcabcabcabc");
  s.Assign(s.get() + 3, 3);
  EXPECT_EQ(Str(s), "abc");
  s.Insert(s.get(), 1);
  EXPECT_EQ(Str(s), "aabcbc");
  s = s;
  EXPECT_EQ(Str(s), "aabcbc");
}

TEST(StringAPI, ContainerFunctionsWorkWithoutTheClasses) {
  nsCStringContainer c;
  ASSERT_EQ(NS_CStringContainerInit2(c, "hello world", 5, 0), NS_OK);
  const char* data;
  PRBool terminated = PR_FALSE;
  EXPECT_EQ(NS_CStringGetData(c, &data, &terminated), 5u);
  EXPECT_TRUE(terminated);
  EXPECT_STREQ(data, "hello");

  EXPECT_EQ(NS_CStringSetDataRange(c, PR_UINT32_MAX, 0, " there", PR_UINT32_MAX), NS_OK);
  char* clone = NS_CStringCloneData(c);
  EXPECT_STREQ(clone, "hello there");
  NS_Free(clone);

  char* buffer;
  EXPECT_EQ(NS_CStringGetMutableData(c, 2, &buffer), 2u);
  buffer[1] = 'E';
  EXPECT_EQ(NS_CStringGetData(c, &data, nullptr), 2u);
  EXPECT_STREQ(data, "hE");
  NS_CStringContainerFinish(c);

  // Adopted data belongs to the string afterwards (the sanitizer build checks it is freed).
  char* adopted = PL_strdup("taken");
  ASSERT_EQ(NS_CStringContainerInit2(c, adopted, PR_UINT32_MAX, NS_CSTRING_CONTAINER_INIT_ADOPT),
            NS_OK);
  NS_CStringGetData(c, &data, nullptr);
  EXPECT_STREQ(data, "taken");
  NS_CStringContainerFinish(c);
}

TEST(SharedMemory, AllocatorAndStringCopies) {
  NS_Free(nullptr);
  void* block = NS_Alloc(0);
  EXPECT_NE(block, nullptr) << "a zero-size request still yields a block to free";
  block = NS_Realloc(block, 64);
  ASSERT_NE(block, nullptr);
  memset(block, 0xab, 64);
  NS_Free(block);

  char* copy = PL_strdup("uri");
  NS_Free(copy); // the plug-in frees PL_strdup copies with NS_Free
  copy = PL_strdup(nullptr);
  EXPECT_STREQ(copy, "");
  PL_strfree(copy);
  copy = PL_strndup("abcdef", 3);
  EXPECT_STREQ(copy, "abc");
  PL_strfree(copy);
  EXPECT_EQ(PL_strlen(nullptr), 0u);
  EXPECT_EQ(PL_strcmp(nullptr, nullptr), 0);
  EXPECT_LT(PL_strcmp(nullptr, "a"), 0);
}

} // namespace
