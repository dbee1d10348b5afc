// The bridge's events and replies against the scripted companion, over the real transport: what
// goes out byte for byte, and what each shape of reply makes of the result.
#include "CompanionSandbox.h"
#include "HostTestSupport.h"

#include "bridge/QuellbarkAppleEvents.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

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
  void TearDown() override {
    if (mCompanion > 0)
      stopProcess(mCompanion);
  }

  // Starts the scripted companion from a bundle that no search would find, and waits until it
  // takes events.
  void startCompanion(const std::string& script) {
    std::ofstream(mSandbox.script) << script << "\n";
    fs::path bundle = makeCompanionBundle(mSandbox.root / "elsewhere");
    mCompanion =
        spawnProcess({(bundle / "Contents/MacOS/Quellbark").string()}, mSandbox.environment());
    ASSERT_TRUE(waitUntilRegistered(mCompanion));
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
  pid_t mCompanion = -1;
};

// --- The score reply -------------------------------------------------------------------------

struct ScoreCase {
  const char* name;
  const char* script;
  OSErr result;
  SInt16 score;
};

void PrintTo(const ScoreCase& c, std::ostream* os) {
  *os << c.name;
}

class ScoreReply : public CompanionExchange, public testing::WithParamInterface<ScoreCase> {};

TEST_P(ScoreReply, ResultAndScore) {
  startCompanion(GetParam().script);
  AppleEvent event = built(kQuellbarkScoreEvent, bytesOf("Subject: hi\n\nbody\n"));
  SInt16 score = kUntouched;
  EXPECT_EQ(sendAppleEventReturnInt(&event, &score), GetParam().result);
  EXPECT_EQ(score, GetParam().score);
  EXPECT_EQ(event.descriptorType, typeNull) << "the event is disposed of on every path";
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, ScoreReply,
    testing::Values(
        ScoreCase{"Short", "score=shor:73", noErr, 73},
        ScoreCase{"Long", "score=long:73", noErr, 73},
        ScoreCase{"Text", "score=TEXT:73", noErr, 73},
        ScoreCase{"Negative", "score=shor:-12", noErr, -12},
        // An 'errn' of 0 counts as success without a score: the score is never read.
        ScoreCase{"ErrnZeroHidesScore", "errn=0 score=shor:73", noErr, kUntouched},
        ScoreCase{"ErrnWins", "errn=-50 score=shor:73", -50, kUntouched},
        ScoreCase{"ErrnAsLong", "errn=long:-1708", errAEEventNotHandled, kUntouched},
        // Present but unreadable as a 16-bit number: still a failure, never success.
        ScoreCase{"ErrnUnreadable", "errn=TEXT:oops score=shor:73", errAECoercionFail, kUntouched},
        ScoreCase{"NoDirectObject", "ok", errAEDescNotFound, kUntouched},
        ScoreCase{"ScoreOutOfRange", "score=long:100000", errAECoercionFail, kUntouched},
        ScoreCase{"ScoreNotANumber", "score=TEXT:high", errAECoercionFail, kUntouched},
        ScoreCase{"NullReply", "null", noErr, kUntouched}),
    [](const auto& c) { return std::string(c.param.name); });

// --- Who owns the reply ----------------------------------------------------------------------

struct OwnershipCase {
  const char* name;
  const char* script;
  OSErr result;
  DescType replyAfter;
};

void PrintTo(const OwnershipCase& c, std::ostream* os) {
  *os << c.name;
}

class ReplyOwnership : public CompanionExchange,
                       public testing::WithParamInterface<OwnershipCase> {};

TEST_P(ReplyOwnership, DisposedOnlyWhenErrnWasRead) {
  startCompanion(GetParam().script);
  AppleEvent event = built(kQuellbarkTrainGoodEvent, bytesOf("x"));
  AppleEvent reply = {typeNull, nullptr};
  EXPECT_EQ(sendAppleEvent(&event, &reply), GetParam().result);
  EXPECT_EQ(reply.descriptorType, GetParam().replyAfter);
  EXPECT_EQ(event.descriptorType, typeNull);
  AEDisposeDesc(&reply);
}

INSTANTIATE_TEST_SUITE_P(Shapes, ReplyOwnership,
                         testing::Values(OwnershipCase{"NoErrnLeftToCaller", "score=shor:5", noErr,
                                                       typeAppleEvent},
                                         OwnershipCase{"ErrnZero", "errn=0", noErr, typeNull},
                                         OwnershipCase{"ErrnNonZero", "errn=-50", -50, typeNull},
                                         OwnershipCase{"NullReply", "null", noErr, typeNull}),
                         [](const auto& c) { return std::string(c.param.name); });

TEST_F(CompanionExchange, VoidSendReportsErrnAndIgnoresContent) {
  startCompanion("errn=-50\nscore=shor:99\nnull");
  for (OSErr expected : std::initializer_list<OSErr>{-50, noErr, noErr}) {
    AppleEvent event = built(kQuellbarkTrainSpamEvent, bytesOf("m"));
    EXPECT_EQ(sendAppleEventReturnVoid(&event), expected);
  }
}

// --- What goes out ---------------------------------------------------------------------------

struct OutgoingCase {
  const char* name;
  AEEventID id;
  std::vector<unsigned char> message;
};

void PrintTo(const OutgoingCase& c, std::ostream* os) {
  *os << c.name;
}

class OutgoingEvent : public CompanionExchange, public testing::WithParamInterface<OutgoingCase> {};

std::optional<Json> entry(const Json& list, const char* key) {
  for (const Json& e : list)
    if (e["key"] == key)
      return e;
  return std::nullopt;
}

TEST_P(OutgoingEvent, CarriesTheFixedParametersAndTheMessageIntact) {
  startCompanion("score=shor:1");
  AppleEvent event = built(GetParam().id, GetParam().message);
  SInt16 score = 0;
  ASSERT_EQ(sendAppleEventReturnInt(&event, &score), noErr);

  auto received = receivedEvents(mSandbox.events);
  ASSERT_EQ(received.size(), 1u);
  const Json& e = received[0];
  EXPECT_EQ(e["class"], "Qbrk");
  EXPECT_EQ(e["id"], std::string(GetParam().name).substr(0, 4));

  auto address = entry(e["attributes"], "addr");
  ASSERT_TRUE(address);
  EXPECT_EQ((*address)["type"], "sign");
  // The signature is a four-character code, held in memory in the host's byte order.
  const OSType signature = kQuellbarkSignature;
  const auto* signatureBytes = reinterpret_cast<const unsigned char*>(&signature);
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
  ASSERT_EQ(parameters.size(), 5u);
  const std::pair<const char*, const char*> fixed[] = {
      {"----", "null"}, {"bDec", "bool"}, {"bRFC", "bool"}, {"sSEP", "TEXT"}, {"Mess", "TEXT"}};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(parameters[i]["key"], fixed[i].first);
    EXPECT_EQ(parameters[i]["type"], fixed[i].second);
  }
  EXPECT_EQ(parameters[0]["hex"], "");
  EXPECT_EQ(parameters[1]["hex"], "01");
  EXPECT_EQ(parameters[2]["hex"], "01");
  EXPECT_EQ(parameters[3]["hex"], "") << "an empty separator sends no bytes, not even a NUL";
  EXPECT_TRUE(parameters[4]["hex"] == hexOf(GetParam().message)) << "the message bytes differ";
}

INSTANTIATE_TEST_SUITE_P(Messages, OutgoingEvent,
                         testing::Values(OutgoingCase{"QscrBinary",
                                                      kQuellbarkScoreEvent,
                                                      {0x00, 0xFF, 'a', 0x00, '\n', 0x80, 0xFF}},
                                         OutgoingCase{"addSEmpty", kQuellbarkTrainSpamEvent, {}},
                                         OutgoingCase{"addGOdd", kQuellbarkTrainGoodEvent,
                                                      bytesOf("Subject: x\n\nodd")}),
                         [](const auto& c) { return std::string(c.param.name); });

// --- The training exchange and its log -------------------------------------------------------

struct TrainingCase {
  const char* name;
  const char* script;
  const char* log;
};

void PrintTo(const TrainingCase& c, std::ostream* os) {
  *os << c.name;
}

class TrainingLog : public CompanionExchange, public testing::WithParamInterface<TrainingCase> {};

TEST_P(TrainingLog, WritesExactlyTheseLines) {
  mSandbox.setLogLevel(40);
  startCompanion(GetParam().script);
  CFDataRef data = dataOf(bytesOf("Subject: spam\n\nbuy\n"));
  testsupport::StderrCapture captured(mScratch);
  trainWithMessageData(data, kQuellbarkTrainSpamEvent);
  EXPECT_EQ(captured.text(), GetParam().log);
  EXPECT_EQ(receivedEvents(mSandbox.events).size(), 1u);
  CFRelease(data);
}

constexpr const char* kRefused = "Quellbark Thunderbird Plug-In: error sending train event -50\n";

INSTANTIATE_TEST_SUITE_P(AtTheErrorThreshold, TrainingLog,
                         testing::Values(TrainingCase{"Trained", "ok", ""},
                                         TrainingCase{"Refused", "errn=-50", kRefused}),
                         [](const auto& c) { return std::string(c.param.name); });

} // namespace
