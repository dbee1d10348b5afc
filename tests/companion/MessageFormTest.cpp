// How the 'bDec', 'bRFC' and 'sSEP' forms are turned into what bogofilter reads.
#include "MessageForm.h"

#include <gtest/gtest.h>

namespace quellbark {
namespace {

using Messages = std::vector<std::string>;

struct Case {
  std::string bytes;
  Messages expected;
};

void check(const MessageForm& form, std::initializer_list<Case> cases) {
  for (const auto& c : cases) {
    Messages joined;
    for (const MessageParts& parts : prepareMessages(c.bytes, form)) {
      joined.emplace_back();
      for (std::string_view const part : parts) {
        joined.back().append(part);
      }
    }
    EXPECT_EQ(joined, c.expected) << c.bytes;
  }
}

TEST(MessageForm, SeparatorSplitsSeveralMessages) {
  check({.decoded = false, .rfc822 = true, .separator = "\n--next--\n"},
        {
            {"A: 1\n\none\n--next--\nB: 2\n\ntwo\n", {"A: 1\n\none", "B: 2\n\ntwo\n"}},
            {"\n--next--\nA: 1\n\none\n--next--\n", {"A: 1\n\none"}}, // blank pieces skipped
            {"\n--next--\n\n--next--\n", {""}},                       // never no message
            {"", {""}},
        });
  // Line ends left at the start of a piece would end its headers before they begin.
  check({.decoded = false, .rfc822 = true, .separator = "SEP"},
        {{"A: 1\n\nx\nSEP\r\n\nB: 2\n\ny", {"A: 1\n\nx\n", "B: 2\n\ny"}}});
  std::string const whole = "From: a@b\n\nline one\n--next--\nline two\n";
  check({.decoded = false, .rfc822 = true, .separator = ""}, {{whole, {whole}}});
}

TEST(MessageForm, PlainTextIsAllBody) {
  check({.decoded = true, .rfc822 = false, .separator = ""},
        {{"Subject: not a header\nhello", {"\nSubject: not a header\nhello"}}});
}

TEST(MessageForm, DecodedMessageIsNotDecodedAgain) {
  check(
      {.decoded = true, .rfc822 = true, .separator = ""},
      {
          {"Subject: hi\nContent-Transfer-Encoding: base64\n\nplain words\n",
           {"Subject: hi\n\nplain words\n"}},
          {"content-transfer-encoding:\n quoted-printable\nX: 1\n\nbody", {"X: 1\n\nbody"}},
          {"Subject: s\nContent-Type: multipart/alternative;\n boundary=\"XYZ\"\n\nflat\n",
           {"Subject: s\nContent-Type: text/plain\n\nflat\n"}},
          {"Content-Type: multipart/mixed\n\nno boundary\n",
           {"Content-Type: text/plain\n\nno boundary\n"}},
          // boundaries still in the body: the structure is kept
          {"Content-Type: multipart/mixed; boundary=XYZ\n\n--XYZ\n\nt\n--XYZ--\n",
           {"Content-Type: multipart/mixed; boundary=XYZ\n\n--XYZ\n\nt\n--XYZ--\n"}},
          {"Content-Type: text/html\n\n<p>hi</p>\n", {"Content-Type: text/html\n\n<p>hi</p>\n"}},
          // a Content-Type line in the body is no header
          {"X: 1\n\nContent-Type: multipart/mixed\n", {"X: 1\n\nContent-Type: multipart/mixed\n"}},
      });
  std::string const raw = "Content-Transfer-Encoding: base64\n\naGVsbG8=\n";
  check({.decoded = false, .rfc822 = true, .separator = ""}, {{raw, {raw}}});
}

} // namespace
} // namespace quellbark
