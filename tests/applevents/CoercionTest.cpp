// The coercions the plug-in's exchanges make: a reply's number read as a short whatever its
// type, and a boolean built from an integer; checked through AECoercePtr (the reading path
// itself is the bridge tests').
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
      {"long_fits_shor", typeSInt32, raw<SInt32>(-32768), typeSInt16, noErr, raw<SInt16>(-32768)},
      {"long_too_big_for_shor", typeSInt32, raw<SInt32>(40000), typeSInt16, kFail},
      {"text_to_shor", typeChar, text("42"), typeSInt16, noErr, raw<SInt16>(42)},
      {"trailing_junk", typeChar, text("4x"), typeSInt16, kFail},
      {"out_of_range", typeChar, text("70000"), typeSInt16, kFail},
      {"embedded_nul", typeChar, Bytes{'1', 0, '2'}, typeSInt16, kFail},
      {"shor_2_to_bool", typeSInt16, raw<SInt16>(2), typeBoolean, kFail},
  };
  for (const Coercion& c : cases) {
    SCOPED_TRACE(c.name);
    Desc d;
    ASSERT_EQ(AECoercePtr(c.from, c.in.data(), Size(c.in.size()), c.to, &d), c.err);
    EXPECT_EQ(d.descriptorType, c.err == noErr ? c.to : DescType(typeNull));
    EXPECT_EQ(data(d), c.out);
  }
}

} // namespace
