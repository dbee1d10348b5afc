// Dispatch: what the reply carries when a handler fails, and what is no event at all. (Which
// handler serves an event, and a handler's result reaching 'errn', are the transport tests'.)
#include "AETestSupport.h"

#include "AEPrivate.h"

#include <gtest/gtest.h>

using namespace aetest;

namespace {

OSErr ownErrn(const AppleEvent*, AppleEvent* reply, SRefCon) {
  SInt16 mine = -1;
  AEPutParamPtr(reply, keyErrorNumber, typeSInt16, &mine, 2);
  return errAEEventNotHandled;
}

TEST(Dispatch, HandlersOwnErrnIsKept) {
  ASSERT_EQ(AEInstallEventHandler(FOUR_CHAR_CODE("Tst3"), typeWildCard, ownErrn, nullptr, false),
            noErr);
  Desc event, reply;
  ASSERT_EQ(
      AECreateAppleEvent(FOUR_CHAR_CODE("Tst3"), FOUR_CHAR_CODE("any "), nullptr, -1, 0, &event),
      noErr);
  ASSERT_EQ(AECreateReplyEvent(&event, &reply), noErr);
  EXPECT_EQ(AEDispatchAppleEvent(&event, &reply), errAEEventNotHandled);
  SInt16 errn = 0;
  ASSERT_EQ(AEGetParamPtr(&reply, keyErrorNumber, typeSInt16, nullptr, &errn, 2, nullptr), noErr);
  EXPECT_EQ(errn, -1);
  AERemoveEventHandler(FOUR_CHAR_CODE("Tst3"), typeWildCard, ownErrn, false);
}

TEST(Dispatch, NonEventsAreRefused) {
  Desc rec, reply;
  ASSERT_EQ(AECreateList(nullptr, 0, true, &rec), noErr);
  EXPECT_EQ(AEDispatchAppleEvent(&rec, &reply), errAENotAppleEvent);
  EXPECT_EQ(AECreateReplyEvent(&rec, &reply), errAENotAppleEvent);
  EXPECT_TRUE(reply.isNull());
}

} // namespace
