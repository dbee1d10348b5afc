// The message path inside one process, where the host's side can be watched: the built bundle
// loaded by the host's own session, the host's real mailbox service and event loop, and the
// scripted companion launched by the plug-in. Requests the command line cannot make, what the
// plug-in does with the host's strings, and what a batch leaves behind.
#include "../host/HostTestSupport.h"
#include "ClassificationListener.h"
#include "EndToEnd.h"
#include "MailServices.h"
#include "runtime/HostSession.h"

#include <gtest/gtest.h>
#include <nsCOMPtr.h>
#include <nsIJunkMailPlugin.h>
#include <nsServiceManagerUtils.h>

#include <algorithm>
#include <dlfcn.h>
#include <fstream>
#include <iostream>
#include <memory>

namespace {

namespace fs = sandbox::fs;
using Reports = std::vector<std::pair<std::string, nsMsgJunkStatus>>;

constexpr const char* kListenerMade =
    "Quellbark Thunderbird Plug-In: QuellbarkTokenStreamListener::QuellbarkTokenStreamListener";
constexpr const char* kListenerGone =
    "Quellbark Thunderbird Plug-In: QuellbarkTokenStreamListener::~QuellbarkTokenStreamListener";

using endtoend::linesOf;

std::size_t countOf(const std::vector<std::string>& lines, const std::string& line) {
  return std::size_t(std::count(lines.begin(), lines.end(), line));
}

class InProcess : public testing::Test {
protected:
  void SetUp() override {
    box.enterInThisProcess();
    sandbox::makeCompanionBundle(box.applicationPath);
    std::string bundle = (sandbox::buildDirectory() / "lib/QuellbarkPlugIn.so").string();
    session = std::make_unique<mailhost::HostSession>(
        mailhost::HostOptions{(box.root / "profile").string(), bundle}, std::cerr);
    // Kept mapped to the end, so that a leak report can name the bundle's functions.
    static void* pinned = dlopen(bundle.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(pinned, nullptr);
    mail = std::make_unique<mailhost::MailServices>();
    plugin = do_GetService(mailhost::kJunkMailPluginContractId);
    ASSERT_TRUE(plugin);
    listener = new mailhost::ClassificationListener(
        [this](const std::string& uri, nsMsgJunkStatus c) { reports.emplace_back(uri, c); });
  }
  void TearDown() override {
    listener->detach();
    listener = nullptr;
    plugin = nullptr;
    mail.reset();
    session.reset();
  }

  // The URIs of an mbox of `count` small messages written under the sandbox.
  std::vector<std::string> mbox(const std::string& name, int count) {
    fs::path file = box.root / name;
    std::ofstream out(file, std::ios::binary);
    for (int i = 0; i < count; ++i)
      out << (i ? "\n" : "") << "From x\nSubject: " << name << " " << i << "\n\nbody " << i << "\n";
    out.close();
    std::vector<std::string> uris;
    for (const auto& ref : mail->store().messagesIn(file))
      uris.push_back(ref.uri);
    return uris;
  }

  nsrefcnt filterReferences() {
    plugin->AddRef();
    return plugin->Release();
  }

  std::vector<std::string> eventIds() {
    std::vector<std::string> ids;
    for (const sandbox::Json& e : sandbox::receivedEvents(box.events))
      ids.push_back(e["id"]);
    return ids;
  }

  sandbox::Sandbox box;
  std::unique_ptr<mailhost::HostSession> session;
  std::unique_ptr<mailhost::MailServices> mail;
  nsCOMPtr<nsIJunkMailPlugin> plugin;
  nsCOMPtr<mailhost::ClassificationListener> listener;
  Reports reports;
};

struct TrainingCase {
  nsMsgJunkStatus classification;
  bool withListener;
  std::vector<std::string> sent;
  const char* errorLine;
};

// Only junk and good are lessons; any other value is logged, sent nowhere, and still reported
// back as it came. Without a listener the lesson is still sent and the request still ends.
TEST_F(InProcess, TrainingSendsOnlyJunkAndGoodAndEndsEveryRequest) {
  box.setLogLevel(10);
  std::string uri = mbox("Train", 1).at(0);
  const std::vector<TrainingCase> cases = {
      {0, true, {}, "Quellbark Thunderbird Plug-In: unsupported training classification: 0"},
      {2, true, {"addS"}, nullptr},
      {1, true, {"addS", "addG"}, nullptr},
      {2, false, {"addS", "addG", "addS"}, nullptr},
  };
  nsrefcnt before = filterReferences();
  for (const TrainingCase& c : cases) {
    SCOPED_TRACE(c.classification);
    reports.clear();
    testsupport::TempDir logScratch;
    testsupport::StderrCapture log(logScratch);
    ASSERT_EQ(plugin->SetMessageClassification(uri.c_str(), 1, c.classification, nullptr,
                                               c.withListener ? listener.get() : nullptr),
              NS_OK);
    mail->loop().runUntilIdle();
    std::vector<std::string> lines = linesOf(log.text());
    Reports expected;
    if (c.withListener)
      expected.emplace_back(uri, c.classification);
    EXPECT_EQ(reports, expected);
    EXPECT_EQ(eventIds(), c.sent);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& l) { return l.find("unsupported") != l.npos; }),
              c.errorLine ? 1 : 0);
    if (c.errorLine) {
      EXPECT_EQ(countOf(lines, c.errorLine), 1u);
    }
    EXPECT_EQ(countOf(lines, kListenerMade), countOf(lines, kListenerGone));
    EXPECT_EQ(filterReferences(), before);
  }
}

// The request returns once the first message streams; the later ones come from the plug-in's
// own copies, so the caller's strings may be gone by then.
TEST_F(InProcess, ABatchOutlivesTheCallersStrings) {
  std::vector<std::string> uris = mbox("Copies", 3);
  std::ofstream(box.script) << "score=shor:10\n";
  std::vector<std::string> callers = uris;
  std::vector<const char*> array;
  for (const std::string& uri : callers)
    array.push_back(uri.c_str());
  ASSERT_EQ(plugin->ClassifyMessages(3, array.data(), nullptr, listener), NS_OK);
  for (std::string& uri : callers)
    std::fill(uri.begin(), uri.end(), 'x');
  array.assign(array.size(), "scribbled:");
  mail->loop().runUntilIdle();
  EXPECT_EQ(reports, (Reports{{uris[0], 1}, {uris[1], 1}, {uris[2], 1}}));
}

// A URI that no message service takes ends the batch there: the messages before it are
// reported, the rest never, and the request's objects are freed all the same.
TEST_F(InProcess, ABatchEndsAtAMessageNoServiceStreams) {
  box.setLogLevel(10);
  std::vector<std::string> uris = mbox("Stops", 3);
  std::vector<const char*> array = {uris[0].c_str(), "nosuch:message", uris[2].c_str()};
  nsrefcnt before = filterReferences();
  testsupport::TempDir logScratch;
  testsupport::StderrCapture log(logScratch);
  ASSERT_EQ(plugin->ClassifyMessages(3, array.data(), nullptr, listener), NS_OK);
  mail->loop().runUntilIdle();
  std::vector<std::string> lines = linesOf(log.text());
  EXPECT_EQ(reports, (Reports{{uris[0], 1}}));
  EXPECT_EQ(eventIds(), std::vector<std::string>{"Qscr"});
  EXPECT_EQ(countOf(lines, kListenerGone), 1u);
  EXPECT_EQ(filterReferences(), before);
}

} // namespace
