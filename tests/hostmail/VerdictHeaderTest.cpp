// The header a delivery filter adds: bytes out are the bytes in plus one field, whatever the
// line ends, a forged field of the same name is gone with its continuation lines, and the field
// goes below an mbox "From " line.
#include "VerdictHeader.h"

#include <gtest/gtest.h>

#include <string>

using namespace mailhost;

namespace {

std::string stamped(std::string_view message, std::string_view verdict = "junk") {
  std::string out;
  writeWithVerdictField(message, verdict, [&](std::string_view piece) { out += piece; });
  return out;
}

struct Case {
  const char* name;
  std::string in;
  std::string out;
};
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.name;
}

class VerdictHeaderTest : public testing::TestWithParam<Case> {};

TEST_P(VerdictHeaderTest, AddsOneFieldAndDropsForgedOnes) {
  EXPECT_TRUE(startsWithHeaderField(GetParam().in));
  EXPECT_EQ(stamped(GetParam().in), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(
    Messages, VerdictHeaderTest,
    testing::Values(
        Case{"Lf", "Subject: hi\n\nbody\n", "X-Quellbark-Status: junk\nSubject: hi\n\nbody\n"},
        Case{"Crlf", "Subject: hi\r\nTo: a\r\n\r\nbody\r\n",
             "X-Quellbark-Status: junk\r\nSubject: hi\r\nTo: a\r\n\r\nbody\r\n"},
        Case{
            "FromLineStaysFirst", "From a@b Mon Jan  1 00:00:00 2024\r\nSubject: x\r\n\r\nb",
            "From a@b Mon Jan  1 00:00:00 2024\r\nX-Quellbark-Status: junk\r\nSubject: x\r\n\r\nb"},
        Case{"FoldedForgedFieldsAnyCaseAnywhere",
             "x-quellbark-status: good\n\tstill forged\nSubject: s\n  folded subject\n"
             "X-Quellbark-Status : good\nTo: t\nX-QUELLBARK-STATUS: good\n \n",
             "X-Quellbark-Status: junk\nSubject: s\n  folded subject\nTo: t\n"},
        Case{"BodyLinesLookingLikeTheFieldStay", "Subject: s\n\nX-Quellbark-Status: good\n",
             "X-Quellbark-Status: junk\nSubject: s\n\nX-Quellbark-Status: good\n"},
        Case{"BodyWithoutSeparator",
             "Subject: s\nthis line is no field\nX-Quellbark-Status: good\n",
             "X-Quellbark-Status: junk\nSubject: s\nthis line is no field\n"
             "X-Quellbark-Status: good\n"},
        Case{"SimilarNamesStay", "X-Quellbark-Statuses: 1\nX-Quellbark: 2\n\n",
             "X-Quellbark-Status: junk\nX-Quellbark-Statuses: 1\nX-Quellbark: 2\n\n"}),
    [](const testing::TestParamInfo<Case>& param) { return param.param.name; });

TEST(VerdictHeader, BytesThatDoNotStartWithAFieldAreNoMessage) {
  for (std::string_view notMessage :
       {"", "\n\nbody", "no colon here\n", " continued: first\n", ": empty name\n",
        "From a@b Mon Jan  1 00:00:00 2024\n", "From a@b Mon Jan  1 00:00:00 2024\n\nbody\n"})
    EXPECT_FALSE(startsWithHeaderField(notMessage)) << notMessage;
}

} // namespace
