// The coercion table: numbers among themselves, numerals, truth values, and what is
// refused. Checked through AECoercePtr and, for the reading path, AEGetParamPtr.
#include "AETestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace aetest;

namespace {

constexpr OSErr kFail = errAECoercionFail;

struct Coercion {
  const char* name;
  DescType from;
  Bytes in;
  DescType to;
  OSErr err;
  Bytes out = {};
};

TEST(Coercion, PointersFollowTheTable) {
  const Coercion cases[] = {
      {"shor_to_long", typeSInt16, raw<SInt16>(-5), typeSInt32, noErr, raw<SInt32>(-5)},
      {"long_fits_shor", typeSInt32, raw<SInt32>(-32768), typeSInt16, noErr, raw<SInt16>(-32768)},
      {"long_too_big_for_shor", typeSInt32, raw<SInt32>(40000), typeSInt16, kFail},
      {"negative_to_magn", typeSInt32, raw<SInt32>(-1), typeUInt32, kFail},
      {"doub_rounds_to_long", typeIEEE64BitFloatingPoint, raw(3.6), typeSInt32, noErr,
       raw<SInt32>(4)},
      {"doub_nan_to_long", typeIEEE64BitFloatingPoint,
       raw(std::numeric_limits<double>::quiet_NaN()), typeSInt32, kFail},
      {"short_data_is_not_a_long", typeSInt32, Bytes{1, 2}, typeSInt16, kFail},
      {"text_to_shor", typeChar, text("42"), typeSInt16, noErr, raw<SInt16>(42)},
      {"blanks_and_sign", typeChar, text(" -7\n"), typeSInt32, noErr, raw<SInt32>(-7)},
      {"trailing_junk", typeChar, text("4x"), typeSInt16, kFail},
      {"empty", typeChar, Bytes{}, typeSInt16, kFail},
      {"out_of_range", typeChar, text("70000"), typeSInt16, kFail},
      {"embedded_nul", typeChar, Bytes{'1', 0, '2'}, typeSInt16, kFail},
      {"long_to_text", typeSInt32, raw<SInt32>(-42), typeChar, noErr, text("-42")},
      {"shor_1_to_bool", typeSInt16, raw<SInt16>(1), typeBoolean, noErr, Bytes{1}},
      {"shor_2_to_bool", typeSInt16, raw<SInt16>(2), typeBoolean, kFail},
      {"enum_true_to_bool", typeEnumerated, raw<FourCharCode>(typeTrue), typeBoolean, noErr,
       Bytes{1}},
      {"enum_other_to_bool", typeEnumerated, raw<FourCharCode>(FOUR_CHAR_CODE("yes ")), typeBoolean,
       kFail},
      {"null_to_shor", typeNull, Bytes{}, typeSInt16, kFail},
      {"shor_to_record", typeSInt16, raw<SInt16>(1), typeAERecord, kFail},
  };
  for (const Coercion& c : cases) {
    SCOPED_TRACE(c.name);
    Desc d;
    ASSERT_EQ(AECoercePtr(c.from, c.in.data(), Size(c.in.size()), c.to, &d), c.err);
    EXPECT_EQ(d.descriptorType, c.err == noErr ? c.to : DescType(typeNull));
    EXPECT_EQ(data(d), c.out);
  }
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
  ASSERT_EQ(AEPutParamDesc(&rec, FOUR_CHAR_CODE("list"), &inner), noErr);

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
  EXPECT_EQ(AEGetParamPtr(&rec, FOUR_CHAR_CODE("list"), typeSInt16, nullptr, &value, 2, nullptr),
            errAECoercionFail);
  EXPECT_EQ(AEGetParamPtr(&rec, FOUR_CHAR_CODE("none"), typeSInt16, nullptr, &value, 2, nullptr),
            errAEDescNotFound);
}

} // namespace
