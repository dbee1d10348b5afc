// The frames between a classify run's parent and its workers: what one side writes the other
// reads back, however the bytes arrive, and bytes that are no reply are refused, never trusted.
#include "WorkerProtocol.h"

#include <gtest/gtest.h>

using namespace mailhost;

namespace {

TEST(WorkerProtocol, AReplyComesBackWholeThoughItArrivesByteByByte) {
  WorkerReply sent{{{"u1", ClassifyOutcome::Verdict::Junk, "", false},
                    {"u2", ClassifyOutcome::Verdict::Unverified, "no answer", false},
                    {"u3", ClassifyOutcome::Verdict::Unclassified, "left out: x", true}},
                   {"cannot read message u4"},
                   "3 exchanges failed"};
  std::string frames = encodeReply(sent) + encodeRequest({{"a", "b"}});
  FrameReader reader;
  std::vector<std::string> payloads;
  for (char byte : frames) {
    reader.append(&byte, 1);
    while (std::optional<std::string> payload = reader.next())
      payloads.push_back(*payload);
  }
  ASSERT_EQ(payloads.size(), 2u);
  WorkerReply got = decodeReply(payloads[0]);
  ASSERT_EQ(got.results.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(got.results[i].uri, sent.results[i].uri);
    EXPECT_EQ(got.results[i].verdict, sent.results[i].verdict);
    EXPECT_EQ(got.results[i].error, sent.results[i].error);
    EXPECT_EQ(got.results[i].leftOut, sent.results[i].leftOut);
  }
  EXPECT_EQ(got.errors, sent.errors);
  EXPECT_EQ(got.stopReason, sent.stopReason);
  EXPECT_EQ(decodeRequest(payloads[1]).uris, (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(reader.empty());
}

TEST(WorkerProtocol, BytesThatAreNoReplyAreRefused) {
  for (const char* payload :
       {"", "not json", "[]", "{}", R"({"results": 1})", R"({"results": [1]})",
        R"({"results": [{"uri": "u", "verdict": "spam"}]})",
        R"({"results": [{"uri": 7, "verdict": "junk"}]})", R"({"results": [], "errors": [1]})",
        R"({"results": [], "stopped": false})"}) {
    SCOPED_TRACE(payload);
    EXPECT_THROW(decodeReply(payload), ProtocolError);
  }
  EXPECT_THROW(decodeRequest(R"({"uris": "u"})"), ProtocolError);

  FrameReader reader;
  const char tooLarge[] = {'\x7f', '\x00', '\x00', '\x00'};
  reader.append(tooLarge, sizeof tooLarge);
  EXPECT_THROW(reader.next(), ProtocolError);
}

} // namespace
