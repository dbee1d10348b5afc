// The standard input's message service: found by its URI scheme as the plug-in looks services
// up, it streams the message held in memory in the same filter form as local mail, and refuses
// any other message.
#include "StandardInputService.h"
#include "EventLoop.h"
#include "RecordingListener.h"

#include <gtest/gtest.h>

#include <nsServiceManagerUtils.h>

using namespace mailhost;

namespace {

struct Served {
  std::vector<std::string> events;
  std::string capture;
  std::vector<std::string> failures;
};

// The runtime is this test program's (started for all its tests).
Served serve(const std::string& message, const char* uri) {
  EventLoop loop;
  Served served;
  nsCOMPtr<StandardInputService> service =
      new StandardInputService(loop, std::make_shared<const std::string>(message),
                               [&](const std::string& failed, const std::string& why) {
                                 served.failures.push_back(failed + ": " + why);
                               });
  nsCOMPtr<nsIFactory> factory;
  EXPECT_EQ(registerStandardInputService(service, getter_AddRefs(factory)), NS_OK);
  nsresult rv = NS_ERROR_FAILURE;
  nsCOMPtr<nsIMsgMessageService> found = do_GetService(kStandardInputServiceContractId, &rv);
  EXPECT_EQ(found.get(), static_cast<nsIMsgMessageService*>(service.get()));
  nsCOMPtr<RecordingListener> listener = new RecordingListener;
  if (found &&
      NS_SUCCEEDED(found->StreamMessage(uri, static_cast<nsIStreamListener*>(listener.get()),
                                        nullptr, nullptr, PR_TRUE, "filter", nullptr)))
    loop.runUntilIdle();
  served.events = listener->events;
  served.capture = listener->capture;
  EXPECT_EQ(unregisterStandardInputService(factory), NS_OK);
  return served;
}

TEST(StandardInputService, StreamsTheMessageInFilterForm) {
  Served served = serve("From x@y Mon Jan  1 00:00:00 2024\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\n"
                        "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nHello\n--b\n"
                        "Content-Type: application/pdf; name=r.pdf\n\n%PDF\n--b--\n",
                        kStandardInputMessageUri);
  std::string url = std::string(kStandardInputMessageUri) + "?number=0";
  EXPECT_EQ(served.events,
            (std::vector<std::string>{
                "start " + url + "&header=filter",
                "headers [Subject=Gr\xC3\xBC\xC3\x9F"
                "e] [Content-Type=multipart/mixed; boundary=b]",
                "attachment application/pdf " + url + "&part=1.2 r.pdf " + kStandardInputMessageUri,
                "endAttachments",
                "endHeaders " + url + "&header=filter",
                "data",
                "stop 00000000",
            }));
  EXPECT_TRUE(served.failures.empty());
}

TEST(StandardInputService, OtherUrisAndBytesThatAreNoMessageFail) {
  Served other = serve("Subject: s\n\nb", "mailhost-stdin:other");
  EXPECT_TRUE(other.events.empty());
  EXPECT_EQ(other.failures.size(), 1u);

  Served garbage = serve("not a header\nat all\n", kStandardInputMessageUri);
  EXPECT_EQ(garbage.events.back(), "stop 80004005");
  ASSERT_EQ(garbage.failures.size(), 1u);
  EXPECT_TRUE(garbage.failures[0].starts_with(std::string(kStandardInputMessageUri) + ": "));
}

} // namespace
