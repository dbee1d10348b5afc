// Descriptors, parameters and attributes as the plug-in, the transport and the companion use
// them: attribute types and the buffer contract of the reading calls.
#include "AETestSupport.h"

#include <gtest/gtest.h>

using namespace aetest;

namespace {

class Event : public testing::Test {
protected:
  void SetUp() override {
    OSType sig = FOUR_CHAR_CODE("Qbrk");
    Desc target;
    ASSERT_EQ(AECreateDesc(typeApplSignature, &sig, 4, &target), noErr);
    ASSERT_EQ(AECreateAppleEvent(FOUR_CHAR_CODE("Qbrk"), FOUR_CHAR_CODE("addS"), &target,
                                 kAutoGenerateReturnID, kAnyTransactionID, &ev),
              noErr);
  }
  Desc ev;
};

TEST_F(Event, AttributesKeepTheirTypeWhenReplaced) {
  FourCharCode cls = FOUR_CHAR_CODE("misc");
  ASSERT_EQ(AEPutAttributePtr(&ev, keyEventClassAttr, typeEnumerated, &cls, 4), noErr);
  SInt32 rtid = 77;
  ASSERT_EQ(AEPutAttributePtr(&ev, keyReturnIDAttr, typeSInt32, &rtid, 4), noErr);
  DescType type = 0;
  ASSERT_EQ(AESizeOfAttribute(&ev, keyEventClassAttr, &type, nullptr), noErr);
  EXPECT_EQ(type, typeType);
  SInt16 got = 0;
  ASSERT_EQ(AEGetAttributePtr(&ev, keyReturnIDAttr, typeWildCard, &type, &got, 2, nullptr), noErr);
  EXPECT_EQ(type, typeSInt16);
  EXPECT_EQ(got, 77);
  EXPECT_EQ(AEPutAttributePtr(&ev, keyReturnIDAttr, typeChar, "x", 1), errAECoercionFail);
  UInt32 port = 1234;
  ASSERT_EQ(AEPutAttributePtr(&ev, FOUR_CHAR_CODE("repp"), typeMachPort, &port, 4), noErr);
  UInt32 back = 0;
  ASSERT_EQ(
      AEGetAttributePtr(&ev, FOUR_CHAR_CODE("repp"), typeMachPort, nullptr, &back, 4, nullptr),
      noErr);
  EXPECT_EQ(back, port);
}

// A reader's buffer smaller than the parameter gets the first bytes and the full size; nothing
// is written past it.
TEST_F(Event, ASmallBufferOnlyTruncates) {
  const Bytes message = {0xFF, 0, 0xFF, '\r', '\n', 'a', 'b', 'c', 'd', 'e'};
  ASSERT_EQ(
      AEPutParamPtr(&ev, FOUR_CHAR_CODE("Mess"), typeChar, message.data(), Size(message.size())),
      noErr);
  Bytes small(8, 0xEE);
  Size actual = 0;
  ASSERT_EQ(AEGetParamPtr(&ev, FOUR_CHAR_CODE("Mess"), typeChar, nullptr, small.data(), 4, &actual),
            noErr);
  EXPECT_EQ(actual, Size(message.size()));
  EXPECT_EQ(small, (Bytes{0xFF, 0, 0xFF, '\r', 0xEE, 0xEE, 0xEE, 0xEE}));
}

} // namespace
