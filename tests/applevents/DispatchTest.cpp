// Handler tables and dispatch: which handler serves an event, and what the reply carries.
#include "AETestSupport.h"

#include "AEPrivate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace aetest;

namespace {

struct Calls {
  int count = 0;
  const char* last = nullptr;
};

OSErr answer73(const AppleEvent*, AppleEvent* reply, SRefCon refcon) {
  auto* calls = static_cast<Calls*>(refcon);
  calls->count++;
  calls->last = "exact";
  if (reply && reply->descriptorType != typeNull) {
    SInt16 score = 73;
    AEPutParamPtr(reply, keyDirectObject, typeSInt16, &score, 2);
  }
  return noErr;
}

OSErr wildcard(const AppleEvent*, AppleEvent*, SRefCon refcon) {
  auto* calls = static_cast<Calls*>(refcon);
  calls->count++;
  calls->last = "wildcard";
  return paramErr;
}

OSErr ownErrn(const AppleEvent*, AppleEvent* reply, SRefCon) {
  SInt16 mine = -1;
  AEPutParamPtr(reply, keyErrorNumber, typeSInt16, &mine, 2);
  return errAEEventNotHandled;
}

// Builds an event of the given class and ID and its default reply.
struct Exchange {
  Exchange(const char (&cls)[5], const char (&id)[5]) {
    EXPECT_EQ(AECreateAppleEvent(FOUR_CHAR_CODE(cls), FOUR_CHAR_CODE(id), nullptr, -1, 0, &event),
              noErr);
    EXPECT_EQ(AECreateReplyEvent(&event, &reply), noErr);
  }
  SInt16 errn() {
    SInt16 v = 0;
    OSErr err = AEGetParamPtr(&reply, keyErrorNumber, typeSInt16, nullptr, &v, 2, nullptr);
    return err == noErr ? v : err;
  }
  Desc event, reply;
};

TEST(Dispatch, ExactHandlerBeatsWildcardAndResultsReachErrn) {
  Calls calls;
  ASSERT_EQ(AEInstallEventHandler(FOUR_CHAR_CODE("Tst1"), FOUR_CHAR_CODE("Qscr"), answer73, &calls,
                                  false),
            noErr);
  ASSERT_EQ(AEInstallEventHandler(FOUR_CHAR_CODE("Tst1"), typeWildCard, wildcard, &calls, false),
            noErr);

  Exchange score("Tst1", "Qscr");
  EXPECT_EQ(AEDispatchAppleEvent(&score.event, &score.reply), noErr);
  EXPECT_STREQ(calls.last, "exact");
  EXPECT_EQ(score.errn(), errAEDescNotFound) << "success puts no 'errn'";
  SInt16 value = 0;
  ASSERT_EQ(AEGetParamPtr(&score.reply, keyDirectObject, typeSInt16, nullptr, &value, 2, nullptr),
            noErr);
  EXPECT_EQ(value, 73);

  Exchange other("Tst1", "addS");
  EXPECT_EQ(AEDispatchAppleEvent(&other.event, &other.reply), paramErr);
  EXPECT_STREQ(calls.last, "wildcard");
  EXPECT_EQ(other.errn(), paramErr);
  DescType type = 0;
  ASSERT_EQ(AESizeOfParam(&other.reply, keyErrorNumber, &type, nullptr), noErr);
  EXPECT_EQ(type, typeSInt32);

  AERemoveEventHandler(FOUR_CHAR_CODE("Tst1"), FOUR_CHAR_CODE("Qscr"), answer73, false);
  AERemoveEventHandler(FOUR_CHAR_CODE("Tst1"), typeWildCard, wildcard, false);
  EXPECT_EQ(calls.count, 2);
}

TEST(Dispatch, HandlersOwnErrnIsKept) {
  ASSERT_EQ(AEInstallEventHandler(FOUR_CHAR_CODE("Tst3"), typeWildCard, ownErrn, nullptr, false),
            noErr);
  Exchange x("Tst3", "any ");
  EXPECT_EQ(AEDispatchAppleEvent(&x.event, &x.reply), errAEEventNotHandled);
  EXPECT_EQ(x.errn(), -1);
  AERemoveEventHandler(FOUR_CHAR_CODE("Tst3"), typeWildCard, ownErrn, false);
}

TEST(Dispatch, NonEventsAreRefused) {
  Desc rec, reply;
  ASSERT_EQ(AECreateList(nullptr, 0, true, &rec), noErr);
  EXPECT_EQ(AEDispatchAppleEvent(&rec, &reply), errAENotAppleEvent);
  EXPECT_EQ(AECreateReplyEvent(&rec, &reply), errAENotAppleEvent);
  EXPECT_TRUE(reply.isNull());
}

std::atomic<int> concurrentCalls{0};
OSErr counting(const AppleEvent*, AppleEvent*, SRefCon) {
  concurrentCalls++;
  return noErr;
}

// Installing and removing on one thread while others dispatch: every dispatch either finds the
// handler or reports it missing, and the table stays consistent.
TEST(Dispatch, TableIsSafeAcrossThreads) {
  ASSERT_EQ(AEInstallEventHandler(FOUR_CHAR_CODE("Tst5"), FOUR_CHAR_CODE("hit "), counting, nullptr,
                                  false),
            noErr);
  std::atomic<bool> stop{false};
  std::thread churn([&] {
    for (int i = 0; !stop; ++i) {
      AEInstallEventHandler(FOUR_CHAR_CODE("Tst5"), FourCharCode(i % 64), counting, nullptr, false);
      AERemoveEventHandler(FOUR_CHAR_CODE("Tst5"), FourCharCode(i % 64), nullptr, false);
    }
  });
  std::vector<std::thread> senders;
  for (int t = 0; t < 3; ++t)
    senders.emplace_back([] {
      Exchange x("Tst5", "hit ");
      for (int i = 0; i < 2000; ++i)
        AEDispatchAppleEvent(&x.event, nullptr);
    });
  for (auto& s : senders)
    s.join();
  stop = true;
  churn.join();
  EXPECT_EQ(concurrentCalls.load(), 6000);
  AERemoveEventHandler(FOUR_CHAR_CODE("Tst5"), FOUR_CHAR_CODE("hit "), nullptr, false);
}

} // namespace
