// The descriptor-building language: what the constructs of the plug-in's format produce
// (numbers, text, truth values, null; checked byte for byte through the flattened form) and
// syntax errors with their position. The plug-in is the one caller and builds one format,
// whose bytes and substituted arguments the bridge tests check; the aebuild fuzzer takes care
// of deep nesting and hostile text.
#include "AETestSupport.h"

#include <gtest/gtest.h>

using namespace aetest;

namespace {

Bytes build(const char* src) {
  Desc d;
  AEBuildError err{};
  OSStatus status = AEBuildDesc(&d, &err, src);
  EXPECT_EQ(status, noErr) << src << " stopped with " << err.fError << " at " << err.fErrorPos;
  return flatten(d);
}

const std::string kTop = "'dle2' 00000000 ";

struct Built {
  const char* src;
  std::string flat; // after the 'dle2' header
};

class BuildsBytes : public testing::TestWithParam<Built> {};

TEST_P(BuildsBytes, ExactFlattenedForm) {
  EXPECT_EQ(build(GetParam().src), bytes(kTop + GetParam().flat)) << GetParam().src;
}

INSTANTIATE_TEST_SUITE_P(
    Scalars, BuildsBytes,
    testing::Values(Built{"5", "'shor' 00000002 0005"}, Built{"-32768", "'long' 00000004 FFFF8000"},
                    Built{"\xE2\x80\x9Chi\xE2\x80\x9D", "'TEXT' 00000002 \"hi\""},
                    Built{"bool(1)", "'bool' 00000001 01"},
                    Built{"TEXT(-42)", "'TEXT' 00000003 \"-42\""},
                    Built{"'null'()", "'null' 00000000"}));

struct SyntaxError {
  const char* src;
  AEBuildErrorCode code;
  UInt32 pos;
  OSStatus status = errAEBuildSyntaxError;
};

class RejectsDesc : public testing::TestWithParam<SyntaxError> {};

TEST_P(RejectsDesc, ReportsCodeAndPositionAndLeavesNull) {
  const SyntaxError& c = GetParam();
  Desc d;
  AEBuildError err{99, 99};
  EXPECT_EQ(AEBuildDesc(&d, &err, c.src), c.status) << c.src;
  EXPECT_EQ(err.fError, c.code) << c.src;
  EXPECT_EQ(err.fErrorPos, c.pos) << c.src;
  EXPECT_TRUE(d.isNull());
}

// One row per kind of mistake: a bad token, an early end, an unclosed construct, bad data, and
// a coercion the builder cannot make.
INSTANTIATE_TEST_SUITE_P(Mistakes, RejectsDesc,
                         testing::Values(SyntaxError{"[1, \x02]", aeBuildSyntaxBadToken, 4},
                                         SyntaxError{"3000000000", aeBuildSyntaxBadToken, 0},
                                         SyntaxError{"[1,", aeBuildSyntaxBadEOF, 3},
                                         SyntaxError{"long(3000000000)", aeBuildSyntaxBadData, 5},
                                         SyntaxError{"{a:1 b:2}", aeBuildSyntaxNoCloseBrace, 5},
                                         SyntaxError{"shor(40000)", aeBuildSyntaxBadData, 5,
                                                     errAECoercionFail}));

TEST(BuildAppleEvent, SyntaxErrorLeavesNullEvent) {
  Desc ev;
  AEBuildError err{};
  EXPECT_EQ(AEBuildAppleEvent(FOUR_CHAR_CODE("Qbrk"), FOUR_CHAR_CODE("Qscr"), typeApplSignature,
                              "Qbrk", 4, -1, 0, &ev, &err, "'----':'null'(),bDec:bool(@) bRFC:x",
                              1),
            errAEBuildSyntaxError);
  EXPECT_EQ(err.fError, aeBuildSyntaxNoEOF);
  EXPECT_EQ(err.fErrorPos, 29u);
  EXPECT_TRUE(ev.isNull());
}

// A string's tokens are kept after its first build: built again, with other arguments or with
// mistakes in it, it gives what a first build gives. A mistake the parser meets before a byte that
// cannot be read is still the one reported, and a long string, never kept, reads the same way.
TEST(BuildAgain, GivesWhatTheFirstBuildGave) {
  const char* format = "{kDec:bool(@), sSEP:'TEXT'(@), keyw:\x02}";
  for (int round = 0; round < 3; ++round) {
    Desc built;
    AEBuildError err{};
    std::string separator(static_cast<std::size_t>(round + 1), '-');
    ASSERT_EQ(
        AEBuildDesc(&built, &err, "{kDec:bool(@), sSEP:'TEXT'(@)}", round % 2, separator.c_str()),
        noErr);
    Desc fresh;
    std::string literal =
        "{kDec:bool(" + std::to_string(round % 2) + "), sSEP:'TEXT'(\"" + separator + "\")}";
    ASSERT_EQ(AEBuildDesc(&fresh, &err, literal.c_str()), noErr);
    EXPECT_EQ(flatten(built), flatten(fresh)) << round;

    Desc bad;
    EXPECT_EQ(AEBuildDesc(&bad, &err, format, 1, "x"), errAEBuildSyntaxError);
    EXPECT_EQ(err.fError, aeBuildSyntaxBadToken);
    EXPECT_EQ(err.fErrorPos, 36u);
    EXPECT_EQ(AEBuildDesc(&bad, &err, "{a:1 b:2 \x02}"), errAEBuildSyntaxError);
    EXPECT_EQ(err.fError, aeBuildSyntaxNoCloseBrace);
    EXPECT_EQ(err.fErrorPos, 5u);
  }
  std::string longList = "[";
  for (int i = 0; i < 200; ++i)
    longList += std::to_string(i) + ",";
  longList += "\x02]";
  for (int round = 0; round < 2; ++round) {
    Desc bad;
    AEBuildError err{};
    EXPECT_EQ(AEBuildDesc(&bad, &err, longList.c_str()), errAEBuildSyntaxError);
    EXPECT_EQ(err.fError, aeBuildSyntaxBadToken);
    EXPECT_EQ(err.fErrorPos, longList.size() - 2);
  }
}

} // namespace
