// The coercion table: numbers among themselves, numerals, truth values, codes, and what is
// refused. Checked through AECoercePtr and, for the reading path, AEGetParamPtr.
#include "AETestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace aetest;

namespace {

struct Coercion {
  const char* name;
  DescType from;
  Bytes in;
  DescType to;
  OSErr err;
  Bytes out = {};
};

void PrintTo(const Coercion& c, std::ostream* os) {
  *os << c.name;
}

class CoercesPtr : public testing::TestWithParam<Coercion> {};

TEST_P(CoercesPtr, GivesTableResult) {
  const Coercion& c = GetParam();
  Desc d;
  ASSERT_EQ(AECoercePtr(c.from, c.in.data(), Size(c.in.size()), c.to, &d), c.err);
  if (c.err != noErr) {
    EXPECT_TRUE(d.isNull());
    return;
  }
  EXPECT_EQ(d.descriptorType, c.to);
  EXPECT_EQ(data(d), c.out);
}

constexpr OSErr kFail = errAECoercionFail;

INSTANTIATE_TEST_SUITE_P(
    Numbers, CoercesPtr,
    testing::Values(
        Coercion{"shor_to_long", typeSInt16, raw<SInt16>(-5), typeSInt32, noErr, raw<SInt32>(-5)},
        Coercion{"long_fits_shor", typeSInt32, raw<SInt32>(-32768), typeSInt16, noErr,
                 raw<SInt16>(-32768)},
        Coercion{"long_too_big_for_shor", typeSInt32, raw<SInt32>(40000), typeSInt16, kFail},
        Coercion{"negative_to_magn", typeSInt32, raw<SInt32>(-1), typeUInt32, kFail},
        Coercion{"comp_too_big_for_long", typeSInt64, raw<SInt64>(1LL << 40), typeSInt32, kFail},
        Coercion{"ucom_max_to_comp", typeUInt64, raw<UInt64>(~0ULL), typeSInt64, kFail},
        Coercion{"doub_rounds_to_long", typeIEEE64BitFloatingPoint, raw(3.6), typeSInt32, noErr,
                 raw<SInt32>(4)},
        Coercion{"doub_half_rounds_away", typeIEEE64BitFloatingPoint, raw(-2.5), typeSInt32, noErr,
                 raw<SInt32>(-3)},
        Coercion{"doub_nan_to_long", typeIEEE64BitFloatingPoint,
                 raw(std::numeric_limits<double>::quiet_NaN()), typeSInt32, kFail},
        Coercion{"doub_huge_to_sing", typeIEEE64BitFloatingPoint, raw(1e300),
                 typeIEEE32BitFloatingPoint, kFail},
        Coercion{"doub_edge_of_comp", typeIEEE64BitFloatingPoint, raw(9223372036854775808.0),
                 typeSInt64, kFail},
        Coercion{"long_to_doub", typeSInt32, raw<SInt32>(7), typeIEEE64BitFloatingPoint, noErr,
                 raw(7.0)},
        Coercion{"short_data_is_not_a_long", typeSInt32, Bytes{1, 2}, typeSInt16, kFail}));

INSTANTIATE_TEST_SUITE_P(
    Numerals, CoercesPtr,
    testing::Values(
        Coercion{"text_to_shor", typeChar, text("42"), typeSInt16, noErr, raw<SInt16>(42)},
        Coercion{"blanks_and_sign", typeChar, text(" -7\n"), typeSInt32, noErr, raw<SInt32>(-7)},
        Coercion{"exponent_to_long", typeChar, text("1e3"), typeSInt32, noErr, raw<SInt32>(1000)},
        Coercion{"real_to_doub", typeUTF8Text, text("3.5"), typeIEEE64BitFloatingPoint, noErr,
                 raw(3.5)},
        Coercion{"trailing_junk", typeChar, text("4x"), typeSInt16, kFail},
        Coercion{"empty", typeChar, Bytes{}, typeSInt16, kFail},
        Coercion{"sign_only", typeChar, text("-"), typeSInt16, kFail},
        Coercion{"double_sign", typeChar, text("+-1"), typeSInt16, kFail},
        Coercion{"out_of_range", typeChar, text("70000"), typeSInt16, kFail},
        Coercion{"infinity", typeChar, text("inf"), typeIEEE64BitFloatingPoint, kFail},
        Coercion{"embedded_nul", typeChar, Bytes{'1', 0, '2'}, typeSInt16, kFail},
        Coercion{"long_to_text", typeSInt32, raw<SInt32>(-42), typeChar, noErr, text("-42")},
        Coercion{"doub_to_text", typeIEEE64BitFloatingPoint, raw(2.5), typeChar, noErr,
                 text("2.5")},
        Coercion{"sing_to_text_short_form", typeIEEE32BitFloatingPoint, raw(0.1f), typeUTF8Text,
                 noErr, text("0.1")},
        Coercion{"shor_1_to_bool", typeSInt16, raw<SInt16>(1), typeBoolean, noErr, Bytes{1}},
        Coercion{"shor_2_to_bool", typeSInt16, raw<SInt16>(2), typeBoolean, kFail},
        Coercion{"shor_minus1_to_bool", typeSInt16, raw<SInt16>(-1), typeBoolean, kFail},
        Coercion{"true_to_bool", typeTrue, Bytes{}, typeBoolean, noErr, Bytes{1}},
        Coercion{"fals_to_bool", typeFalse, Bytes{}, typeBoolean, noErr, Bytes{0}},
        Coercion{"enum_true_to_bool", typeEnumerated, raw<FourCharCode>(typeTrue), typeBoolean,
                 noErr, Bytes{1}},
        Coercion{"enum_fals_to_bool", typeEnumerated, raw<FourCharCode>(typeFalse), typeBoolean,
                 noErr, Bytes{0}},
        Coercion{"enum_other_to_bool", typeEnumerated, raw<FourCharCode>(fcc("yes ")), typeBoolean,
                 kFail},
        Coercion{"bool_to_enum", typeBoolean, Bytes{1}, typeEnumerated, noErr,
                 raw<FourCharCode>(typeTrue)},
        Coercion{"type_to_enum", typeType, raw<FourCharCode>(fcc("abcd")), typeEnumerated, noErr,
                 raw<FourCharCode>(fcc("abcd"))},
        Coercion{"text_to_type", typeChar, text("abcd"), typeType, kFail},
        Coercion{"null_to_shor", typeNull, Bytes{}, typeSInt16, kFail},
        Coercion{"shor_to_record", typeSInt16, raw<SInt16>(1), typeAERecord, kFail}));

TEST(Coercion, AnythingBecomesAOneItemList) {
  Desc list;
  ASSERT_EQ(AECoercePtr(typeChar, "ab", 2, typeAEList, &list), noErr);
  long count = 0;
  ASSERT_EQ(AECountItems(&list, &count), noErr);
  ASSERT_EQ(count, 1);
  Desc same;
  ASSERT_EQ(AECoerceDesc(&list, typeAEList, &same), noErr);
  ASSERT_EQ(AECountItems(&same, &count), noErr);
  EXPECT_EQ(count, 1) << "a list coerced to a list is not wrapped again";
  Desc rec, wrapped;
  ASSERT_EQ(AECreateList(nullptr, 0, true, &rec), noErr);
  ASSERT_EQ(AECoerceDesc(&rec, typeAEList, &wrapped), noErr);
  ASSERT_EQ(AECountItems(&wrapped, &count), noErr);
  EXPECT_EQ(count, 1);
}

TEST(Coercion, RecordsRetypeButNeverBecomeScalars) {
  Desc rec, specifier, back, bad;
  ASSERT_EQ(AECreateList(nullptr, 0, true, &rec), noErr);
  ASSERT_EQ(AEPutKeyPtr(&rec, fcc("form"), typeEnumerated, "indx", 4), noErr);
  ASSERT_EQ(AECoerceDesc(&rec, fcc("obj "), &specifier), noErr);
  EXPECT_EQ(specifier.descriptorType, fcc("obj "));
  EXPECT_TRUE(AECheckIsRecord(&specifier));
  ASSERT_EQ(AECoerceDesc(&specifier, typeAERecord, &back), noErr);
  EXPECT_EQ(back.descriptorType, typeAERecord);
  EXPECT_EQ(AECoerceDesc(&rec, typeSInt16, &bad), errAECoercionFail);
  EXPECT_TRUE(bad.isNull());
}

// What a reader of a reply sees: a parameter stored in one type read as another.
TEST(Coercion, ReadingParametersCoercesAndReportsActualType) {
  Desc rec;
  ASSERT_EQ(AECreateList(nullptr, 0, true, &rec), noErr);
  SInt32 errn = -50;
  ASSERT_EQ(AEPutParamPtr(&rec, keyErrorNumber, typeSInt32, &errn, 4), noErr);
  ASSERT_EQ(AEPutParamPtr(&rec, keyDirectObject, typeChar, "73", 2), noErr);
  Desc inner;
  ASSERT_EQ(AECreateList(nullptr, 0, false, &inner), noErr);
  ASSERT_EQ(AEPutParamDesc(&rec, fcc("list"), &inner), noErr);

  SInt16 value = 0;
  DescType actual = 0;
  Size size = 0;
  ASSERT_EQ(AEGetParamPtr(&rec, keyErrorNumber, typeSInt16, &actual, &value, 2, &size), noErr);
  EXPECT_EQ(value, -50);
  EXPECT_EQ(actual, typeSInt16);
  EXPECT_EQ(size, 2);
  ASSERT_EQ(AEGetParamPtr(&rec, keyDirectObject, typeSInt16, nullptr, &value, 2, nullptr), noErr);
  EXPECT_EQ(value, 73);
  ASSERT_EQ(AEGetParamPtr(&rec, keyErrorNumber, typeWildCard, &actual, nullptr, 0, &size), noErr);
  EXPECT_EQ(actual, typeSInt32) << "'****' reports the stored type";
  EXPECT_EQ(size, 4);
  EXPECT_EQ(AEGetParamPtr(&rec, fcc("list"), typeSInt16, nullptr, &value, 2, nullptr),
            errAECoercionFail);
  EXPECT_EQ(AEGetParamPtr(&rec, fcc("none"), typeSInt16, nullptr, &value, 2, nullptr),
            errAEDescNotFound);
}

} // namespace
