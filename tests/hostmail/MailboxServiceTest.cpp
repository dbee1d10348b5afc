// The mailbox service as a junk-mail filter meets it: the order of the stream and header-sink
// calls, deliveries only from the event loop, short reads, and failures found before and during
// a delivery. (A batch streamed one message after the other is the end-to-end batch test's.)
#include "MailboxService.h"
#include "EventLoop.h"
#include "RecordingListener.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <nsXPCOM.h>

using testsupport::TempDir;

using namespace mailhost;

namespace {

class XpcomEnvironment : public ::testing::Environment {
public:
  void SetUp() override { ASSERT_EQ(NS_InitXPCOM2(nullptr, nullptr, nullptr), NS_OK); }
  void TearDown() override { NS_ShutdownXPCOM(nullptr); }
};
const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new XpcomEnvironment);

std::string hex(nsresult rv) {
  char text[16];
  std::snprintf(text, sizeof text, "%08x", rv);
  return text;
}

class MailboxServiceTest : public ::testing::Test {
protected:
  MailboxServiceTest()
      : service(new MailboxService(loop, MailStore(),
                                   [this](const std::string& uri, const std::string& why) {
                                     failures.push_back(uri + ": " + why);
                                   })),
        listener(new RecordingListener) {
    RecordingListener::sViolations.clear();
  }
  ~MailboxServiceTest() override {
    loop.runUntilIdle();
    EXPECT_EQ(RecordingListener::sViolations, std::vector<std::string>{});
  }

  nsresult stream(const std::string& uri, const char* conversion = "filter",
                  nsISupports* consumer = nullptr) {
    RecordingListener::sInsideStreamMessage = true;
    nsresult rv = service->StreamMessage(
        uri.c_str(), consumer ? consumer : static_cast<nsIStreamListener*>(listener.get()), nullptr,
        nullptr, PR_TRUE, conversion, nullptr);
    RecordingListener::sInsideStreamMessage = false;
    return rv;
  }

  std::string uriOf(const std::filesystem::path& folder, std::size_t index = 0) {
    return service->store().messagesIn(folder).at(index).uri;
  }
  std::string urlOf(const std::string& uri) {
    return service->store().mailUrlFor(service->store().parseUri(uri));
  }

  TempDir dir;
  EventLoop loop;
  std::vector<std::string> failures;
  nsCOMPtr<MailboxService> service;
  nsCOMPtr<RecordingListener> listener;
};

} // namespace

TEST_F(MailboxServiceTest, DeliversTheFilterFormInTheHostsOrder) {
  dir.write("Inbox", "From a\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\nNewsgroups: x.y\n"
                     "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nHello\n--b\n"
                     "Content-Type: application/pdf; name=\"r=C3=A9.pdf\"\n\n%PDF\n--b--\n");
  std::string uri = uriOf(dir / "Inbox");
  std::string url = urlOf(uri);
  ASSERT_EQ(stream(uri), NS_OK);
  EXPECT_TRUE(listener->events.empty()) << "a callback came before the loop ran";
  loop.runUntilIdle();
  std::vector<std::string> expected = {
      "start " + url + "&header=filter",
      "headers [Subject=Gr\xC3\xBC\xC3\x9F"
      "e] [Newsgroups=x.y] "
      "[Content-Type=multipart/mixed; boundary=b] dontCollect",
      "attachment application/pdf " + url + "&part=1.2 r=C3=A9.pdf " + uri,
      "endAttachments",
      "endHeaders " + url + "&header=filter",
      "data",
      "stop 00000000",
  };
  EXPECT_EQ(listener->events, expected);
  EXPECT_EQ(listener->capture, "Subject: Gr\xC3\xBC\xC3\x9F"
                               "e\nNewsgroups: x.y\n"
                               "Content-Type: multipart/mixed; boundary=b\n\nHello");
  EXPECT_TRUE(failures.empty());
}

// Without a header sink only the body arrives, and a listener that reads less than offered
// gets the rest in later blocks.
TEST_F(MailboxServiceTest, ShortReadsWithoutAHeaderSinkGetTheWholeBody) {
  std::string body;
  for (int i = 0; i < 5000; ++i)
    body += std::to_string(i) + "\n";
  dir.write("big.eml", "Subject: big\n\n" + body);
  listener->readLimit = 1000;
  listener->installSink = false;
  ASSERT_EQ(stream(uriOf(dir / "big.eml")), NS_OK);
  loop.runUntilIdle();
  ASSERT_EQ(listener->bodies.size(), 1u);
  EXPECT_EQ(listener->bodies[0], body);
  EXPECT_EQ(listener->capture, body);
  EXPECT_EQ(listener->events.size(), 3u) << "start, data, stop";
  EXPECT_EQ(listener->stopStatuses, std::vector<nsresult>{NS_OK});
}

TEST_F(MailboxServiceTest, AListenerThatReadsNothingEndsTheDelivery) {
  dir.write("m.eml", "Subject: m\n\nsome body\n");
  listener->readsNothing = true;
  ASSERT_EQ(stream(uriOf(dir / "m.eml")), NS_OK);
  EXPECT_LT(loop.runUntilIdle(), 10u);
  EXPECT_EQ(listener->stopStatuses, std::vector<nsresult>{NS_ERROR_UNEXPECTED});
  listener->AddRef();
  EXPECT_EQ(listener->Release(), 1u) << "the delivery kept a reference";
}

TEST_F(MailboxServiceTest, CancelAndFailedStartEndTheDeliveryWithTheirStatus) {
  dir.write("m.eml", "Subject: m\n\n" + std::string(100000, 'x'));
  listener->cancelInDataWith = NS_ERROR_ABORT;
  ASSERT_EQ(stream(uriOf(dir / "m.eml")), NS_OK);
  loop.runUntilIdle();
  EXPECT_EQ(listener->stopStatuses, std::vector<nsresult>{NS_ERROR_ABORT});
  EXPECT_EQ(listener->bodies.at(0).size(), MessageDelivery::kBlockSize);

  nsCOMPtr<RecordingListener> refusing = new RecordingListener;
  refusing->failStartWith = NS_ERROR_FAILURE;
  ASSERT_EQ(stream(uriOf(dir / "m.eml"), "filter", static_cast<nsIStreamListener*>(refusing.get())),
            NS_OK);
  loop.runUntilIdle();
  ASSERT_EQ(refusing->events.size(), 2u);
  EXPECT_EQ(refusing->events[1], "stop " + hex(NS_ERROR_FAILURE));
}

TEST_F(MailboxServiceTest, UrisThatNameNoLocalMessageFailAtOnce) {
  struct Case {
    std::string uri;
    const char* conversion;
    nsresult expected;
  } cases[] = {
      {"imap-message://u@h/INBOX#1", "filter", NS_ERROR_FAILURE},
      {"mailbox-message://nobody@Local%20Folders/Inbox", "filter", NS_ERROR_FAILURE},
      {"mailbox-message://nobody@Local%20Folders/a/../b#0", "filter", NS_ERROR_FAILURE},
      {"mailbox-message://nobody@Local%20Folders/Inbox#0", "attach", NS_ERROR_NOT_IMPLEMENTED},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.uri);
    EXPECT_EQ(stream(c.uri, c.conversion), c.expected);
  }
  EXPECT_EQ(loop.runUntilIdle(), 0u);
  EXPECT_TRUE(listener->events.empty());
  EXPECT_EQ(failures.size(), 3u);
}

TEST_F(MailboxServiceTest, MessagesThatCannotBeReadStopWithAFailure) {
  dir.write("Inbox", "From a\nSubject: 1\n\none\n");
  dir.write("garbage.eml", "not a header\nat all\n");
  std::string inbox = uriOf(dir / "Inbox");
  struct Case {
    std::string uri;
    nsresult status;
  } cases[] = {
      {inbox.substr(0, inbox.find('#')) + "#999", NS_ERROR_FAILURE},
      {inbox.substr(0, inbox.find('#')) + "-gone#0", NS_ERROR_FILE_NOT_FOUND},
      {uriOf(dir / "garbage.eml"), NS_ERROR_FAILURE},
      {"file://" + (dir / "missing.eml").string() + "?type=application/x-message-display",
       NS_ERROR_FILE_NOT_FOUND},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.uri);
    nsCOMPtr<RecordingListener> one = new RecordingListener;
    failures.clear();
    ASSERT_EQ(stream(c.uri, "filter", static_cast<nsIStreamListener*>(one.get())), NS_OK);
    loop.runUntilIdle();
    ASSERT_EQ(one->events.size(), 2u);
    EXPECT_TRUE(one->events[0].starts_with("start "));
    EXPECT_EQ(one->events[1], "stop " + hex(c.status));
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_TRUE(failures[0].starts_with(c.uri + ": "));
  }
}
