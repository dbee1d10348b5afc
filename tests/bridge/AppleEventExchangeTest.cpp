// The bridge's events and replies against the scripted companion, over the real transport: what
// goes out byte for byte, and what each shape of reply makes of the result.
#include "HostTestSupport.h"
#include "Sandbox.h"

#include "bridge/QuellbarkAppleEvents.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <tuple>

using namespace sandbox;

namespace {

constexpr SInt16 kUntouched = -7;

std::vector<unsigned char> bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

CFDataRef dataOf(const std::vector<unsigned char>& bytes) {
  return CFDataCreate(kCFAllocatorDefault, bytes.data(), CFIndex(bytes.size()));
}

class CompanionExchange : public testing::Test {
protected:
  void SetUp() override { mSandbox.enterInThisProcess(); }

  // Starts the scripted companion from a bundle that no search would find, and waits until it
  // takes events.
  void startCompanion(const std::string& script) {
    std::ofstream(mSandbox.script) << script << "\n";
    fs::path bundle = makeCompanionBundle(mSandbox.root / "elsewhere");
    ASSERT_TRUE(waitUntilRegistered(
        spawnProcess({(bundle / "Contents/MacOS/Quellbark").string()}, mSandbox.environment())));
  }

  AppleEvent built(AEEventID id, const std::vector<unsigned char>& message) {
    CFDataRef data = dataOf(message);
    AppleEvent event = {typeNull, nullptr};
    EXPECT_EQ(buildAppleEvent(id, data, true, true, "", &event), noErr);
    CFRelease(data);
    return event;
  }

  Sandbox mSandbox;
  testsupport::TempDir mScratch;
};

// Every table runs against one companion that answers the n-th event with the n-th row's reply.
template <class Case>
std::string scriptOf(const std::vector<Case>& cases) {
  std::string script;
  for (const Case& c : cases)
    script += std::string(c.script) + "\n";
  return script;
}

struct ScoreCase {
  const char* name;
  const char* script;
  OSErr result;
  SInt16 score;
};

TEST_F(CompanionExchange, ScoreReplyShapes) {
  const std::vector<ScoreCase> cases = {
      {"short", "score=shor:73", noErr, 73},
      {"long", "score=long:73", noErr, 73},
      {"text", "score=TEXT:73", noErr, 73},
      // An 'errn' of 0 counts as success without a score: the score is never read.
      {"errn zero hides the score", "errn=0 score=shor:73", noErr, kUntouched},
      {"errn wins", "errn=-50 score=shor:73", -50, kUntouched},
      {"errn as long", "errn=long:-1708", errAEEventNotHandled, kUntouched},
      // Present but unreadable as a 16-bit number: still a failure, never success.
      {"errn unreadable", "errn=TEXT:oops score=shor:73", errAECoercionFail, kUntouched},
      {"no direct object", "ok", errAEDescNotFound, kUntouched},
      {"score out of range", "score=long:100000", errAECoercionFail, kUntouched},
      {"null reply", "null", noErr, kUntouched},
  };
  startCompanion(scriptOf(cases));
  for (const ScoreCase& c : cases) {
    SCOPED_TRACE(c.name);
    AppleEvent event = built(kQuellbarkScoreEvent, bytesOf("Subject: hi\n\nbody\n"));
    SInt16 score = kUntouched;
    EXPECT_EQ(sendAppleEventReturnInt(&event, &score), c.result);
    EXPECT_EQ(score, c.score);
    EXPECT_EQ(event.descriptorType, typeNull) << "the event is disposed of on every path";
  }
}

// The reply is disposed of only when its 'errn' was read.
TEST_F(CompanionExchange, WhoOwnsTheReply) {
  const struct Case {
    const char* script;
    OSErr result;
    DescType replyAfter;
  } cases[] = {{"score=shor:5", noErr, typeAppleEvent},
               {"errn=0", noErr, typeNull},
               {"errn=-50", -50, typeNull},
               {"null", noErr, typeNull}};
  startCompanion(scriptOf(std::vector<Case>(std::begin(cases), std::end(cases))));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.script);
    AppleEvent event = built(kQuellbarkTrainGoodEvent, bytesOf("x"));
    AppleEvent reply = {typeNull, nullptr};
    EXPECT_EQ(sendAppleEvent(&event, &reply), c.result);
    EXPECT_EQ(reply.descriptorType, c.replyAfter);
    EXPECT_EQ(event.descriptorType, typeNull);
    AEDisposeDesc(&reply);
  }
}

TEST_F(CompanionExchange, VoidSendReportsErrnAndIgnoresContent) {
  startCompanion("errn=-50\nscore=shor:99\nnull");
  for (OSErr expected : std::initializer_list<OSErr>{-50, noErr, noErr}) {
    AppleEvent event = built(kQuellbarkTrainSpamEvent, bytesOf("m"));
    EXPECT_EQ(sendAppleEventReturnVoid(&event), expected);
  }
}

std::optional<Json> entry(const Json& list, const char* key) {
  for (const Json& e : list)
    if (e["key"] == key)
      return e;
  return std::nullopt;
}

// Each kind of event carries the fixed parameters and its message byte for byte.
TEST_F(CompanionExchange, OutgoingEventsCarryTheFixedParametersAndTheMessageIntact) {
  const std::tuple<AEEventID, const char*, std::vector<unsigned char>> cases[] = {
      {kQuellbarkScoreEvent, "Qscr", {0x00, 0xFF, 'a', 0x00, '\n', 0x80, 0xFF}},
      {kQuellbarkTrainSpamEvent, "addS", {}},
      {kQuellbarkTrainGoodEvent, "addG", bytesOf("Subject: x\n\nodd")}};
  startCompanion("score=shor:1");
  for (const auto& [id, name, message] : cases) {
    AppleEvent event = built(id, message);
    SInt16 score = 0;
    ASSERT_EQ(sendAppleEventReturnInt(&event, &score), noErr) << name;
  }
  auto received = receivedEvents(mSandbox.events);
  ASSERT_EQ(received.size(), std::size(cases));
  // The signature is a four-character code, held in memory in the host's byte order.
  const OSType signature = kQuellbarkSignature;
  const auto* signatureBytes = reinterpret_cast<const unsigned char*>(&signature);
  for (std::size_t n = 0; n < received.size(); ++n) {
    const Json& e = received[n];
    SCOPED_TRACE(std::get<1>(cases[n]));
    EXPECT_EQ(e["class"], "Qbrk");
    EXPECT_EQ(e["id"], std::get<1>(cases[n]));
    auto address = entry(e["attributes"], "addr");
    ASSERT_TRUE(address);
    EXPECT_EQ((*address)["type"], "sign");
    EXPECT_EQ((*address)["hex"],
              hexOf(std::vector<unsigned char>(signatureBytes, signatureBytes + sizeof signature)));
    auto transaction = entry(e["attributes"], "tran");
    ASSERT_TRUE(transaction);
    EXPECT_EQ((*transaction)["hex"], "00000000") << "any transaction";
    auto replyPort = entry(e["attributes"], "repp");
    ASSERT_TRUE(replyPort) << "the reply port is added at send time";
    EXPECT_EQ((*replyPort)["type"], "port");
    EXPECT_EQ((*replyPort)["hex"].get<std::string>().size(), 8u);

    // The parameters in the order they were put, the message last and byte for byte.
    const Json& parameters = e["parameters"];
    const std::tuple<const char*, const char*, std::string> fixed[] = {
        {"----", "null", ""},
        {"bDec", "bool", "01"},
        {"bRFC", "bool", "01"},
        {"sSEP", "TEXT", ""}, // an empty separator sends no bytes, not even a NUL
        {"Mess", "TEXT", hexOf(std::get<2>(cases[n]))}};
    ASSERT_EQ(parameters.size(), std::size(fixed));
    for (std::size_t i = 0; i < std::size(fixed); ++i) {
      EXPECT_EQ(parameters[i]["key"], std::get<0>(fixed[i]));
      EXPECT_EQ(parameters[i]["type"], std::get<1>(fixed[i]));
      EXPECT_TRUE(parameters[i]["hex"] == std::get<2>(fixed[i])) << std::get<0>(fixed[i]);
    }
  }
}

// At the error threshold a training writes nothing when it succeeds and one line when refused.
TEST_F(CompanionExchange, TrainingLogsOnlyARefusal) {
  mSandbox.setLogLevel(40);
  startCompanion("ok\nerrn=-50");
  CFDataRef data = dataOf(bytesOf("Subject: spam\n\nbuy\n"));
  for (const char* log : {"", "Quellbark Thunderbird Plug-In: error sending train event -50\n"}) {
    testsupport::StderrCapture captured(mScratch);
    trainWithMessageData(data, kQuellbarkTrainSpamEvent);
    EXPECT_EQ(captured.text(), log);
  }
  EXPECT_EQ(receivedEvents(mSandbox.events).size(), 2u);
  CFRelease(data);
}

} // namespace
