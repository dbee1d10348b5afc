// Descriptors, parameters and attributes as the plug-in, the transport and the companion use
// them: the buffer contract of the reading calls.
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
