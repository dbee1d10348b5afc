// Sending Apple Events to served applications in other processes, over real sockets.
#include "ServedApps.h"

#include "transport/Frame.h"
#include "transport/PeerCredentials.h"
#include <unix/ProcessTable.h>
#include <unix/Registry.h>
#include <unix/RuntimeFolder.h>
#include <unix/Syscalls.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

using namespace cstest;

namespace {

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// Every case runs against both ways of serving: the event loop's own thread, and a thread per
// connection.
class TransportTest : public SandboxTest, public ::testing::WithParamInterface<bool> {
protected:
  TransportTest() {
    if (GetParam())
      setenv("SERVED_APP_OWN_THREADS", "1", 1);
    else
      unsetenv("SERVED_APP_OWN_THREADS");
  }
  ~TransportTest() override { unsetenv("SERVED_APP_OWN_THREADS"); }

  struct Sent {
    OSStatus status;
    SInt32 echoed = -1; // the reply's direct object
    SInt16 errn = 0;
  };

  // A 'TEST' event carrying value as its direct object, sent through port when one is given.
  static Sent sendValue(const char* id, const std::string& signature, SInt32 value,
                        AESendMode mode = kAEWaitReply, long timeout = kAEDefaultTimeout,
                        mach_port_t port = MACH_PORT_NULL, const std::string& text = "") {
    AppleEvent event = testEvent(id, signature);
    AEPutParamPtr(&event, keyDirectObject, typeSInt32, &value, sizeof value);
    if (!text.empty())
      AEPutParamPtr(&event, 0x74657874 /* 'text' */, typeUTF8Text, text.data(),
                    static_cast<Size>(text.size()));
    if (port != MACH_PORT_NULL)
      AEPutAttributePtr(&event, keyReplyPortAttr, typeMachPort, &port, sizeof port);
    AppleEvent reply{typeNull, nullptr};
    Sent sent{AESendMessage(&event, &reply, mode, timeout)};
    AEGetParamPtr(&reply, keyDirectObject, typeSInt32, nullptr, &sent.echoed, 4, nullptr);
    AEGetParamPtr(&reply, keyErrorNumber, typeSInt16, nullptr, &sent.errn, 2, nullptr);
    AEDisposeDesc(&reply);
    AEDisposeDesc(&event);
    return sent;
  }

  static SInt32 remoteDescriptorCount(const std::string& signature) {
    return sendValue("fdct", signature, 0).echoed;
  }

  // A raw connection to the application's socket, as a foreign client would make it.
  int rawConnection(pid_t pid) {
    auto entry = os::findLiveEntry(pid);
    EXPECT_TRUE(entry.has_value());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, entry->socketPath.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    timeval limit{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return fd;
  }

  // Reads one frame from a raw connection; false at end of file.
  static bool readRawFrame(int fd, coreservices::FrameHeader& header,
                           std::vector<std::uint8_t>& payload) {
    std::uint8_t raw[coreservices::kFrameHeaderSize];
    if (recv(fd, raw, sizeof raw, MSG_WAITALL) != static_cast<ssize_t>(sizeof raw))
      return false;
    if (coreservices::decodeHeader(raw, header) != coreservices::HeaderCheck::ok)
      return false;
    payload.resize(header.length);
    return header.length == 0 || recv(fd, payload.data(), header.length, MSG_WAITALL) ==
                                     static_cast<ssize_t>(header.length);
  }

  static std::vector<std::uint8_t> flattenedEvent(const char* id, const std::string& signature,
                                                  std::size_t padding = 0) {
    AppleEvent event = testEvent(id, signature);
    SInt32 value = 7;
    AEPutParamPtr(&event, keyDirectObject, typeSInt32, &value, sizeof value);
    if (padding > 0) {
      std::string const pad(padding, 'p');
      AEPutParamPtr(&event, FOUR_CHAR_CODE("padd"), typeChar, pad.data(),
                    static_cast<Size>(pad.size()));
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(AESizeOfFlattenedDesc(&event)));
    Size written = 0;
    AEFlattenDesc(&event, reinterpret_cast<Ptr>(bytes.data()), static_cast<Size>(bytes.size()),
                  &written);
    AEDisposeDesc(&event);
    return bytes;
  }
};

TEST_P(TransportTest, SendsBySignatureAndReturnsTheReply) {
  launchServedApp("Echo");
  Sent echoed = sendValue("echo", "Echo", 4242);
  EXPECT_EQ(echoed.status, noErr);
  EXPECT_EQ(echoed.echoed, 4242);
  // A handler's error, and an event nobody handles, arrive in the reply's 'errn'.
  EXPECT_EQ(sendValue("fail", "Echo", 0).errn, paramErr);
  EXPECT_EQ(sendValue("none", "Echo", 0).errn, errAEEventNotHandled);
  EXPECT_EQ(sendValue("echo", "Gone", 1).status, procNotFound);
}

TEST_P(TransportTest, TimesOutAndTheDefaultTimeoutFollowsTheEnvironment) {
  launchServedApp("Slow");
  EXPECT_EQ(sendValue("slow", "Slow", 3000, kAEWaitReply, 12).status, errAETimeout);
  setenv("AE_DEFAULT_TIMEOUT_TICKS", "15", 1); // a quarter of a second
  EXPECT_EQ(sendValue("slow", "Slow", 3000).status, errAETimeout);
}

TEST_P(TransportTest, APeerThatDiesMidExchangeFailsAtOnce) {
  pid_t pid = launchServedApp("Dies");
  setenv("AE_DEFAULT_TIMEOUT_TICKS", "3600", 1); // an hour: only noticing the death ends the wait
  EXPECT_EQ(sendValue("exit", "Dies", 0).status, connectionInvalid);
  // Once it is gone, its registry entry is stale and is not used again.
  for (int i = 0; i < 200 && kill(pid, 0) == 0 && !runningApps().empty(); ++i)
    usleep(10'000);
  EXPECT_EQ(sendValue("echo", "Dies", 0).status, procNotFound);
}

// A gathering send that takes at most `most` bytes, from the first piece with any.
ssize_t sendFirstBytes(int socket, const msghdr* message, int flags, std::size_t most) {
  for (std::size_t i = 0; i < message->msg_iovlen; ++i)
    if (const iovec& piece = message->msg_iov[i]; piece.iov_len > 0)
      return os::realSyscalls().send(socket, piece.iov_base, std::min(piece.iov_len, most), flags);
  return 0;
}

// The sender's socket taking a few bytes at a time, or interrupted, still sends whole frames; a
// socket that breaks mid-frame fails that exchange, and the next one goes through. An event with
// a large text goes out in pieces (the text from the event's own copy), which must arrive whole
// and in order just the same.
TEST_P(TransportTest, ShortSendsDeliverWholeFramesAndABrokenSendFailsCleanly) {
  launchServedApp("Bits");
  static int trickled = 0;
  os::Syscalls trickle = os::realSyscalls();
  trickle.sendmsg = [](int socket, const msghdr* message, int flags) -> ssize_t {
    if (++trickled % 3 == 0)
      return errno = EINTR, -1;
    // Small steps through the small pieces, larger ones through the text.
    return sendFirstBytes(socket, message, flags, trickled % 2 ? 5 : 40'000);
  };
  std::string text(200'000, 'x');
  for (std::size_t i = 0; i < text.size(); i += 7)
    text[i] = static_cast<char>('a' + i % 26);
  {
    os::ScopedSyscalls shortSends(trickle);
    EXPECT_EQ(sendValue("echo", "Bits", 77).echoed, 77);
    EXPECT_EQ(
        sendValue("echo", "Bits", 76, kAEWaitReply, kAEDefaultTimeout, MACH_PORT_NULL, text).echoed,
        76);
  }

  static bool sentOnce = false;
  os::Syscalls broken = os::realSyscalls();
  broken.sendmsg = [](int socket, const msghdr* message, int flags) -> ssize_t {
    if (std::exchange(sentOnce, true))
      return errno = EPIPE, -1;
    return sendFirstBytes(socket, message, flags, 6);
  };
  for (const std::string& carried : {std::string(), text}) {
    sentOnce = false;
    os::ScopedSyscalls breaks(broken);
    Sent sent =
        sendValue("echo", "Bits", 78, kAEWaitReply, kAEDefaultTimeout, MACH_PORT_NULL, carried);
    EXPECT_EQ(sent.status, connectionInvalid);
    EXPECT_EQ(sent.echoed, -1);
  }
  EXPECT_EQ(sendValue("echo", "Bits", 79).echoed, 79);
}

// A reply port owns one connection, reused by every send through it; when the port is destroyed
// the connection is kept for the next port's exchange. Half the sends go as the plug-in sends
// them, half on transient channels: a thousand leave no descriptor open on either side.
TEST_P(TransportTest, ThousandExchangesOnPortsOrNotLeaveNoDescriptorOpen) {
  launchServedApp("Many");
  auto exchange = [](mach_port_t port, SInt32 value) {
    return sendValue("echo", "Many", value, kAEWaitReply, kAEDefaultTimeout, port).echoed == value;
  };
  mach_port_t port = MACH_PORT_NULL;
  ASSERT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port), KERN_SUCCESS);
  // Warm up lazily made resources; the registry's folder watch comes after a few dozen lookups.
  for (SInt32 i = 0; i < 64; ++i)
    ASSERT_TRUE(exchange(port, i));
  ASSERT_EQ(mach_port_destroy(mach_task_self(), port), KERN_SUCCESS);
  auto local = openDescriptors();
  SInt32 remote = remoteDescriptorCount("Many");
  for (SInt32 i = 1; i <= 1000; ++i) {
    port = MACH_PORT_NULL;
    if (i % 2 == 0) {
      ASSERT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port), KERN_SUCCESS);
    }
    ASSERT_TRUE(exchange(port, i)) << i;
    ASSERT_TRUE(exchange(port, -i)) << i;
    ASSERT_EQ(openDescriptors(), local) << i;
    if (port != MACH_PORT_NULL) {
      ASSERT_EQ(mach_port_destroy(mach_task_self(), port), KERN_SUCCESS);
    }
    ASSERT_EQ(openDescriptors(), local) << i;
  }
  // The server notices closed connections on its next turn; give it a few.
  SInt32 remoteAfter = 0;
  for (int attempt = 0; attempt < 20 && (remoteAfter = remoteDescriptorCount("Many")) != remote;
       ++attempt)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(remoteAfter, remote);
}

TEST_P(TransportTest, TwoClientsAtOnceAreBothAnswered) {
  launchServedApp("Both");
  std::atomic<int> answered{0};
  auto client = [&](SInt32 base) {
    for (SInt32 i = 0; i < 50; ++i)
      answered += sendValue("echo", "Both", base + i).echoed == base + i;
  };
  // One client holds the server in a slow handler while the others queue up behind it.
  std::thread slowClient([&] { answered += sendValue("slow", "Both", 300).echoed == 300; });
  std::thread first(client, 1000), second(client, 2000);
  first.join();
  second.join();
  slowClient.join();
  EXPECT_EQ(answered, 101);
}

// A suspended event holds up neither the server nor other clients, and its reply, sent when
// another thread resumes it, reaches its sender; every event names its sender's pid.
TEST_P(TransportTest, ASuspendedEventIsAnsweredWhenResumedFromAnotherThread) {
  launchServedApp("Susp");
  std::thread held([] {
    Sent sent = sendValue("hold", "Susp", 0);
    EXPECT_EQ(sent.status, noErr);
    EXPECT_EQ(sent.echoed, 77);
  });
  // 'free' is refused until the 'hold' has arrived and been suspended.
  for (int attempt = 0; attempt < 500 && sendValue("free", "Susp", 77).errn != 0; ++attempt)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  held.join();
  Sent sender = sendValue("spid", "Susp", 0);
  EXPECT_EQ(sender.status, noErr);
  EXPECT_EQ(sender.echoed, getpid());
  EXPECT_EQ(sendValue("free", "Susp", 1).errn, paramErr); // nothing held any more
}

struct RawFrameCase {
  const char* name;
  std::vector<std::uint8_t> bytes;
  OSStatus expected;
  bool connectionStaysOpen;
};

// Frames written back to back, one larger than a receive takes before its size is known, are
// each answered, in order, though the last ones arrive with the one before them.
TEST_P(TransportTest, FramesWrittenBackToBackAreEachAnsweredInOrder) {
  pid_t pid = launchServedApp("Brst");
  using namespace coreservices;
  std::vector<std::uint8_t> stream;
  for (std::uint32_t id = 1; id <= 4; ++id) {
    auto event = flattenedEvent("echo", "Brst", id == 2 ? 300 * 1024 : 0);
    std::uint8_t header[kFrameHeaderSize];
    encodeHeader({FrameKind::event, kFrameWantsReply, static_cast<std::uint32_t>(event.size()), id},
                 header);
    stream.insert(stream.end(), header, header + kFrameHeaderSize);
    stream.insert(stream.end(), event.begin(), event.end());
  }
  int fd = rawConnection(pid);
  ASSERT_EQ(send(fd, stream.data(), stream.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(stream.size()));
  for (std::uint32_t id = 1; id <= 4; ++id) {
    FrameHeader answer;
    std::vector<std::uint8_t> payload;
    ASSERT_TRUE(readRawFrame(fd, answer, payload)) << id;
    EXPECT_EQ(answer.kind, FrameKind::reply);
    EXPECT_EQ(answer.exchangeID, id);
  }
  close(fd);
}

TEST_P(TransportTest, MalformedAndOversizedFramesAreRefusedWhileOthersAreServed) {
  pid_t pid = launchServedApp("Tuff");
  using namespace coreservices;
  auto header = [](std::uint32_t magic, std::uint16_t version, std::uint8_t kind,
                   std::uint32_t length) {
    std::vector<std::uint8_t> bytes(kFrameHeaderSize);
    writeBigEndian32(bytes.data(), magic);
    bytes[4] = static_cast<std::uint8_t>(version >> 8);
    bytes[5] = static_cast<std::uint8_t>(version);
    bytes[6] = kind;
    writeBigEndian32(bytes.data() + 8, length);
    writeBigEndian32(bytes.data() + 12, 77);
    return bytes;
  };
  auto garbage = header(kFrameMagic, kFrameVersion, 1, 12);
  garbage.insert(garbage.end(), {'d', 'l', 'e', '2', 0, 0, 0, 0, 'x', 'x', 'x', 'x'});

  const RawFrameCase cases[] = {
      {"oversized", header(kFrameMagic, kFrameVersion, 1, kMaxFramePayload + 1), memFullErr, false},
      {"bad magic", header(0x12345678, kFrameVersion, 1, 0), errAECorruptData, false},
      {"reply sent to a server", header(kFrameMagic, kFrameVersion, 2, 0), errAECorruptData, false},
      {"not a flattened event", garbage, errAECorruptData, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    int fd = rawConnection(pid);
    // A client stuck half-way through a frame must not hold up the others either.
    int stalled = rawConnection(pid);
    ASSERT_EQ(send(stalled, c.bytes.data(), 5, MSG_NOSIGNAL), 5);
    ASSERT_EQ(send(fd, c.bytes.data(), c.bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(c.bytes.size()));
    FrameHeader answer;
    std::vector<std::uint8_t> payload;
    ASSERT_TRUE(readRawFrame(fd, answer, payload));
    EXPECT_EQ(answer.kind, FrameKind::error);
    ASSERT_EQ(payload.size(), 4u);
    EXPECT_EQ(static_cast<OSStatus>(readBigEndian32(payload.data())), c.expected);

    EXPECT_EQ(sendValue("echo", "Tuff", 3).echoed, 3);

    if (c.connectionStaysOpen) {
      auto event = flattenedEvent("echo", "Tuff");
      auto frame = header(kFrameMagic, kFrameVersion, 1, static_cast<std::uint32_t>(event.size()));
      frame[7] = kFrameWantsReply;
      frame.insert(frame.end(), event.begin(), event.end());
      ASSERT_EQ(send(fd, frame.data(), frame.size(), MSG_NOSIGNAL),
                static_cast<ssize_t>(frame.size()));
      ASSERT_TRUE(readRawFrame(fd, answer, payload));
      EXPECT_EQ(answer.kind, FrameKind::reply);
      EXPECT_EQ(answer.exchangeID, 77u);
    } else {
      EXPECT_FALSE(readRawFrame(fd, answer, payload)) << "connection should be closed";
    }
    close(fd);
    close(stalled);
  }
}

// Served on their own threads, connections are answered side by side: a handler waiting for
// another connection's event sees it. Quitting from a handler while other connections are open,
// one of them in the middle of a frame, closes them all and ends the application.
TEST_P(TransportTest, OwnThreadsServeConnectionsSideBySideAndQuitClosesThemAll) {
  if (!GetParam())
    GTEST_SKIP() << "the loop serves one event at a time";
  pid_t pid = launchServedApp("Side");
  std::thread waiting([] {
    Sent sent = sendValue("wait", "Side", 5);
    EXPECT_EQ(sent.status, noErr);
    EXPECT_EQ(sent.echoed, 5);
  });
  EXPECT_EQ(sendValue("open", "Side", 6).echoed, 6);
  waiting.join();

  int idle = rawConnection(pid);
  int midFrame = rawConnection(pid);
  auto event = flattenedEvent("echo", "Side");
  std::uint8_t header[coreservices::kFrameHeaderSize];
  coreservices::encodeHeader({coreservices::FrameKind::event, coreservices::kFrameWantsReply,
                              static_cast<std::uint32_t>(event.size()), 1},
                             header);
  ASSERT_EQ(send(midFrame, header, sizeof header, MSG_NOSIGNAL),
            static_cast<ssize_t>(sizeof header));
  EXPECT_EQ(sendValue("quit", "Side", 0).status, noErr);
  for (int i = 0; i < 500 && os::findLiveEntry(pid); ++i)
    usleep(10'000);
  EXPECT_FALSE(os::findLiveEntry(pid)) << "still registered";
  // Closed, not left hanging (the receive times out after 5 s): at its end, or reset when the
  // server closed it before reading the bytes sent.
  auto closed = [](int fd) {
    char byte = 0;
    ssize_t got = recv(fd, &byte, 1, 0);
    return got == 0 || (got < 0 && errno == ECONNRESET);
  };
  EXPECT_TRUE(closed(idle));
  EXPECT_TRUE(closed(midFrame));
  close(idle);
  close(midFrame);
}

INSTANTIATE_TEST_SUITE_P(Serving, TransportTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& serving) {
                           return serving.param ? "OwnThreads" : "EventLoop";
                         });

// A peer whose bytes a test dictates: a child process registered as "Scrp" that, for each
// connection in turn, reads one request and writes what was made for that connection (with the
// request's exchange ID written into the frame headers listed), then leaves the connection open or
// closes it and says so on a pipe. It only writes bytes made before it was started.
class ScriptedPeerTest : public SandboxTest {
protected:
  struct Connection {
    std::vector<std::uint8_t> bytes;
    std::vector<std::size_t> headers; // where the frames answering the request start
    std::uint32_t staleOffset = 0;    // added to the exchange ID in the first header
    bool close = false;
  };

  ~ScriptedPeerTest() override {
    if (mChild > 0) {
      kill(mChild, SIGKILL);
      waitpid(mChild, nullptr, 0);
    }
    if (mClosed >= 0)
      close(mClosed);
    if (mPort != MACH_PORT_NULL)
      mach_port_destroy(mach_task_self(), mPort);
  }

  // A reply frame's bytes: header (exchange ID to be filled in) and an answer whose direct object
  // is `value`.
  static std::vector<std::uint8_t> answerFrame(SInt32 value) {
    using namespace coreservices;
    AppleEvent answer = testEvent("ansr", "Scrp");
    AEPutParamPtr(&answer, keyDirectObject, typeSInt32, &value, sizeof value);
    std::vector<std::uint8_t> flat(static_cast<std::size_t>(AESizeOfFlattenedDesc(&answer)));
    Size written = 0;
    AEFlattenDesc(&answer, reinterpret_cast<Ptr>(flat.data()), static_cast<Size>(flat.size()),
                  &written);
    AEDisposeDesc(&answer);
    std::vector<std::uint8_t> frame(kFrameHeaderSize);
    encodeHeader({FrameKind::reply, 0, static_cast<std::uint32_t>(flat.size()), 0}, frame.data());
    frame.insert(frame.end(), flat.begin(), flat.end());
    return frame;
  }

  void start(std::vector<Connection> connections) {
    using namespace coreservices;
    auto folder = os::runtimeFolder(true);
    ASSERT_TRUE(folder.has_value());
    const std::string path = *folder + "/scripted.sock";
    int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 4), 0);
    int closed[2];
    ASSERT_EQ(pipe2(closed, O_CLOEXEC), 0);
    mChild = fork();
    ASSERT_GE(mChild, 0);
    if (mChild == 0) {
      static std::uint8_t request[64 * 1024];
      for (Connection& connection : connections) {
        int fd = accept(listener, nullptr, nullptr);
        FrameHeader header;
        if (fd < 0 || recv(fd, request, kFrameHeaderSize, MSG_WAITALL) != kFrameHeaderSize ||
            decodeHeader(request, header) != HeaderCheck::ok || header.length > sizeof request ||
            recv(fd, request, header.length, MSG_WAITALL) != static_cast<ssize_t>(header.length))
          _exit(1);
        for (std::size_t i = 0; i < connection.headers.size(); ++i)
          writeBigEndian32(connection.bytes.data() + connection.headers[i] + 12,
                           header.exchangeID + (i == 0 ? connection.staleOffset : 0));
        if (send(fd, connection.bytes.data(), connection.bytes.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(connection.bytes.size()))
          _exit(1);
        if (connection.close) {
          close(fd);
          if (write(closed[1], "c", 1) != 1)
            _exit(1);
        }
      }
      pause();
      _exit(0);
    }
    close(listener);
    close(closed[1]);
    mClosed = closed[0];
    auto start = os::processStartTime(mChild);
    ASSERT_TRUE(start.has_value());
    os::RegistryEntry entry;
    entry.pid = mChild;
    entry.startTime = *start;
    entry.signature = codeOf("Scrp");
    entry.socketPath = path;
    ASSERT_TRUE(os::writeEntry(*folder, entry));
  }

  // The direct object of the answer to an event sent with a reply port kept for the test: the
  // port's connection is kept from one exchange to the next. Two seconds: an exchange sent where
  // no answer will come fails rather than waits.
  SInt32 exchange() {
    if (mPort == MACH_PORT_NULL)
      mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &mPort);
    AppleEvent event = testEvent("echo", "Scrp");
    AEPutAttributePtr(&event, keyReplyPortAttr, typeMachPort, &mPort, sizeof mPort);
    AppleEvent reply{typeNull, nullptr};
    SInt32 got = -1;
    if (OSStatus sent = AESendMessage(&event, &reply, kAEWaitReply, 120); sent != noErr)
      got = sent;
    else
      AEGetParamPtr(&reply, keyDirectObject, typeSInt32, nullptr, &got, sizeof got, nullptr);
    AEDisposeDesc(&reply);
    AEDisposeDesc(&event);
    return got;
  }

  void waitForAClose() {
    char c = 0;
    ASSERT_EQ(read(mClosed, &c, 1), 1);
  }

  pid_t mChild = -1;
  int mClosed = -1;
  mach_port_t mPort = MACH_PORT_NULL;
};

// A frame left over from an earlier exchange before the answer and stray bytes after it, in one
// write: the sender skips the first, takes the answer, and never reads the stray bytes as the
// start of its next answer: the next exchange goes over a new connection.
TEST_F(ScriptedPeerTest, BytesAroundAnAnswerNeitherReplaceItNorSpoilTheNextExchange) {
  std::vector<Connection> connections;
  for (SInt32 n = 1; n <= 2; ++n) {
    std::vector<std::uint8_t> frame = answerFrame(n * 1000);
    Connection connection{frame, {0, frame.size()}, 1000};
    connection.bytes.insert(connection.bytes.end(), frame.begin(), frame.end());
    connection.bytes.insert(connection.bytes.end(), {'x', 'y', 'z'});
    connections.push_back(connection);
  }
  start(connections);
  EXPECT_EQ(exchange(), 1000);
  EXPECT_EQ(exchange(), 2000);
}

// A kept connection that its peer has closed since: the request goes again on a new connection.
TEST_F(ScriptedPeerTest, AKeptConnectionItsPeerHasClosedIsReplaced) {
  Connection first{answerFrame(1000), {0}};
  first.close = true;
  start({first, Connection{answerFrame(2000), {0}}});
  EXPECT_EQ(exchange(), 1000);
  waitForAClose();
  EXPECT_EQ(exchange(), 2000);
}

TEST(PeerCredentials, OnlyTheSameUserIsAccepted) {
  EXPECT_FALSE(coreservices::credentialsAcceptable(0, 1000)) << "not even root";
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  EXPECT_TRUE(coreservices::peerIsSameUser(pair[0]));
  close(pair[0]);
  close(pair[1]);
  // A socket that is not connected has no peer to vouch for.
  int lone = socket(AF_UNIX, SOCK_STREAM, 0);
  EXPECT_FALSE(coreservices::peerIsSameUser(lone));
  close(lone);
}

} // namespace
