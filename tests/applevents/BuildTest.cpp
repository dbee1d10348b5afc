// The descriptor-building language: what each construct produces (checked byte for byte through
// the flattened form), syntax errors with their position, and argument substitution.
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
    testing::Values(
        Built{"5", "'shor' 00000002 0005"}, Built{"-32767", "'shor' 00000002 8001"},
        Built{"-32768", "'long' 00000004 FFFF8000"}, Built{"40000", "'long' 00000004 00009C40"},
        Built{"\"hi\"", "'TEXT' 00000002 \"hi\""},
        Built{"\xE2\x80\x9Chi\xE2\x80\x9D", "'TEXT' 00000002 \"hi\""},
        Built{"obj", "'enum' 00000004 'obj '"}, Built{"'abcdef'", "'enum' 00000004 'abcd'"},
        Built{"'a\\'b'", "'enum' 00000004 61276220"},
        Built{"\xE2\x80\x98x y\xE2\x80\x99", "'enum' 00000004 'x y '"},
        Built{"short(1)", "'shor' 00000002 0001"}, Built{"long(7)", "'long' 00000004 00000007"},
        Built{"(7)", "'long' 00000004 00000007"},
        Built{"doub(2)", "'doub' 00000008 4000000000000000"},
        Built{"comp(5000000000)", "'comp' 00000008 000000012A05F200"},
        Built{"bool(1)", "'bool' 00000001 01"}, Built{"TEXT(-42)", "'TEXT' 00000003 \"-42\""},
        Built{"type(prop)", "'type' 00000004 'prop'"}, Built{"(prop)", "'enum' 00000004 'prop'"},
        Built{"utf8(\"x\")", "'utf8' 00000001 \"x\""}, Built{"()", "'null' 00000000"},
        Built{"'null'()", "'null' 00000000"}, Built{"TEXT()", "'TEXT' 00000000"},
        Built{"tdta($01 02\t0a0B$)", "'tdta' 00000004 01020A0B"},
        Built{"tdta(\xC2\xAB"
              "ff\xC2\xBB)",
              "'tdta' 00000001 FF"}));

INSTANTIATE_TEST_SUITE_P(
    Composites, BuildsBytes,
    testing::Values(
        Built{"[]", "'list' 00000018 00000000 00000000 00000018 'list' 00000000 00000000"},
        Built{"{}", "'reco' 00000018 00000000 00000000 00000018 'reco' 00000000 00000000"},
        Built{" [ 1 ,\n\"a\" ] ", "'list' 0000002C 00000000 00000000 00000018 'list' 00000002 "
                                  "00000000 'shor' 00000002 0001 'TEXT' 00000001 \"a\" 00"},
        Built{"list[1]", "'list' 00000022 00000000 00000000 00000018 'list' 00000001 00000000 "
                         "'shor' 00000002 0001"},
        Built{"{foo:1,bar:[]}",
              "'reco' 0000004A 00000000 00000000 00000018 'reco' 00000002 00000000 "
              "'foo ' 'shor' 00000002 0001 "
              "'bar ' 'list' 00000018 00000000 00000000 00000018 'list' 00000000 00000000"},
        Built{"{a:1,a:2}", "'reco' 00000026 00000000 00000000 00000018 'reco' 00000001 00000000 "
                           "'a   ' 'shor' 00000002 0002"},
        Built{"obj {form:indx}", "'reco' 00000028 00000000 00000000 00000018 'reco' 00000001 "
                                 "'obj ' 'form' 'enum' 00000004 'indx'"}));

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
                                         SyntaxError{"1 2", aeBuildSyntaxNoEOF, 2},
                                         SyntaxError{"'abc", aeBuildSyntaxMissingQuote, 0},
                                         SyntaxError{"tdta($012$)", aeBuildSyntaxOddHex, 5},
                                         SyntaxError{"(\"abc", aeBuildSyntaxNoCloseString, 1},
                                         SyntaxError{"long(3000000000)", aeBuildSyntaxBadData, 5},
                                         SyntaxError{"{a:1 b:2}", aeBuildSyntaxNoCloseBrace, 5},
                                         SyntaxError{"@@", aeBuildSyntaxUncoercedDoubleAt, 0},
                                         SyntaxError{"shor(40000)", aeBuildSyntaxBadData, 5,
                                                     errAECoercionFail}));

TEST(BuildDesc, NestingDeeperThanTheLimitIsRefused) {
  std::string deep = std::string(200, '[') + std::string(200, ']');
  Desc d;
  AEBuildError err{};
  EXPECT_EQ(AEBuildDesc(&d, &err, deep.c_str()), errAEBuildSyntaxError);
  EXPECT_EQ(err.fError, aeBuildSyntaxBadDesc);
  EXPECT_TRUE(d.isNull());
  std::string fine = std::string(40, '[') + std::string(40, ']');
  EXPECT_EQ(AEBuildDesc(&d, &err, fine.c_str()), noErr);
}

TEST(BuildDesc, SubstitutesArgumentsByType) {
  Desc inner, item;
  ASSERT_EQ(AECreateDesc(typeChar, "in", 2, &inner), noErr);
  ASSERT_EQ(AECreateDesc(typeType, "ABCD", 4, &item), noErr);
  const char blob[] = {'x', '\0', 'z'};
  Desc d;
  ASSERT_EQ(AEBuildDesc(&d, nullptr,
                        "[bool(@), shor(@), long(@), enum(@), type(@), sing(@), doub(@), "
                        "TEXT(@), tdta(@), @, (@), TEXT(@)]",
                        7, -2, 70000, int(FOUR_CHAR_CODE("true")), int(FOUR_CHAR_CODE("cwin")), 1.5,
                        2.25, "str", 3L, blob, static_cast<const AEDesc*>(&inner),
                        static_cast<const AEDesc*>(&item), static_cast<const char*>(nullptr)),
            noErr);
  struct Expect {
    DescType type;
    Bytes data;
  } expected[] = {{typeBoolean, {1}},
                  {typeSInt16, raw<SInt16>(-2)},
                  {typeSInt32, raw<SInt32>(70000)},
                  {typeEnumerated, raw<FourCharCode>(FOUR_CHAR_CODE("true"))},
                  {typeType, raw<FourCharCode>(FOUR_CHAR_CODE("cwin"))},
                  {typeIEEE32BitFloatingPoint, raw(1.5f)},
                  {typeIEEE64BitFloatingPoint, raw(2.25)},
                  {typeChar, text("str")},
                  {FOUR_CHAR_CODE("tdta"), Bytes{'x', 0, 'z'}},
                  {typeChar, text("in")},
                  {typeType, text("ABCD")},
                  {typeChar, {}}};
  long count = 0;
  ASSERT_EQ(AECountItems(&d, &count), noErr);
  ASSERT_EQ(count, long(std::size(expected)));
  for (long i = 1; i <= count; ++i) {
    Desc got;
    ASSERT_EQ(AEGetNthDesc(&d, i, typeWildCard, nullptr, &got), noErr);
    EXPECT_EQ(got.descriptorType, expected[i - 1].type) << "item " << i;
    EXPECT_EQ(data(got), expected[i - 1].data) << "item " << i;
  }
}

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

} // namespace
