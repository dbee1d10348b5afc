// How the 'bDec', 'bRFC' and 'sSEP' forms are turned into what bogofilter reads.
#include "MessageForm.h"

#include <gtest/gtest.h>

namespace quellbark {
namespace {

using Messages = std::vector<std::string>;

TEST(MessageForm, SeparatorSplitsSeveralMessages) {
  MessageForm form{.decoded = false, .rfc822 = true, .separator = "\n--next--\n"};
  struct Case {
    std::string bytes;
    Messages expected;
  } const cases[] = {
      {"A: 1\n\none", {"A: 1\n\none"}},
      {"A: 1\n\none\n--next--\nB: 2\n\ntwo\n", {"A: 1\n\none", "B: 2\n\ntwo\n"}},
      {"\n--next--\nA: 1\n\none\n--next--\n", {"A: 1\n\none"}}, // blank pieces skipped
      {"\n--next--\n\n--next--\n", {""}},                       // never no message at all
      {"", {""}},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(prepareMessages(c.bytes, form), c.expected) << c.bytes;
  }
}

TEST(MessageForm, EmptySeparatorKeepsBytesWhole) {
  std::string const bytes = "From: a@b\n\nline one\n--next--\nline two\n";
  EXPECT_EQ(prepareMessages(bytes, {.decoded = false, .rfc822 = true, .separator = ""}),
            Messages{bytes});
}

TEST(MessageForm, PiecesLoseLeadingLineEndsSoHeadersStayHeaders) {
  MessageForm form{.decoded = false, .rfc822 = true, .separator = "SEP"};
  EXPECT_EQ(prepareMessages("A: 1\n\nx\nSEP\r\n\nB: 2\n\ny", form),
            (Messages{"A: 1\n\nx\n", "B: 2\n\ny"}));
}

TEST(MessageForm, PlainTextIsAllBody) {
  MessageForm form{.decoded = true, .rfc822 = false, .separator = ""};
  EXPECT_EQ(prepareMessages("Subject: not a header\nhello", form),
            Messages{"\nSubject: not a header\nhello"});
}

TEST(MessageForm, DecodedMessageLosesTransferEncodings) {
  MessageForm form{.decoded = true, .rfc822 = true, .separator = ""};
  EXPECT_EQ(
      prepareMessages("Subject: hi\nContent-Transfer-Encoding: base64\n\nplain words\n", form),
      Messages{"Subject: hi\n\nplain words\n"});
  EXPECT_EQ(prepareMessages("content-transfer-encoding:\n quoted-printable\nX: 1\n\nbody", form),
            Messages{"X: 1\n\nbody"})
      << "folded and lower-case headers go too";
  // Undecoded mail keeps them: bogofilter decodes it itself.
  form.decoded = false;
  std::string const raw = "Content-Transfer-Encoding: base64\n\naGVsbG8=\n";
  EXPECT_EQ(prepareMessages(raw, form), Messages{raw});
}

TEST(MessageForm, DecodedMultipartWithoutItsBoundariesBecomesText) {
  MessageForm form{.decoded = true, .rfc822 = true, .separator = ""};
  struct Case {
    std::string bytes;
    std::string expected;
  } const cases[] = {
      {"Subject: s\nContent-Type: multipart/alternative;\n boundary=\"XYZ\"\n\nflat text\n",
       "Subject: s\nContent-Type: text/plain\n\nflat text\n"},
      {"Content-Type: multipart/mixed; boundary=XYZ\n\n--XYZ\nContent-Type: text/plain\n\nt\n"
       "--XYZ--\n",
       "Content-Type: multipart/mixed; boundary=XYZ\n\n--XYZ\nContent-Type: text/plain\n\nt\n"
       "--XYZ--\n"},
      {"Content-Type: text/html; charset=utf-8\n\n<p>hi</p>\n",
       "Content-Type: text/html; charset=utf-8\n\n<p>hi</p>\n"},
      {"Content-Type: multipart/mixed\n\nno boundary at all\n",
       "Content-Type: text/plain\n\nno boundary at all\n"},
      // a Content-Type line in the body is not a header
      {"X: 1\n\nContent-Type: multipart/mixed; boundary=Q\n", "X: 1\n\nContent-Type: "
                                                              "multipart/mixed; boundary=Q\n"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(prepareMessages(c.bytes, form), Messages{c.expected}) << c.bytes;
  }
}

} // namespace
} // namespace quellbark
