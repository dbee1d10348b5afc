// The serving side of the transport: a listening socket in the runtime folder, a registry entry,
// and a poll() loop that reads event frames from every connection and hands them, one at a time
// and in order of arrival, to the installed handlers. A handler may suspend its event and resume
// it later from any thread; the reply then reaches the loop through a queue and the wake pipe.
// Connections may instead each be served on a thread of their own, which reads, handles and
// answers its events with no hand-over between threads.
#include <CoreServices/AE/AEServer.h>
#include <CoreServices/AE/AppleEvents.h>

#include <CoreServices/AE/AEDataModel.h>

#include "ae/AEPrivate.h"
#include "transport/Frame.h"
#include "transport/PeerCredentials.h"
#include "transport/SelfIdentity.h"
#include "transport/SerialNumber.h"
#include <unix/BigEndian.h>
#include <unix/Files.h>
#include <unix/Registry.h>
#include <unix/RetryingIO.h>
#include <unix/RuntimeFolder.h>
#include <unix/Syscalls.h>
#include <unix/UnixSocket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <list>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace coreservices {

namespace {

constexpr std::size_t kMaxConnections = 256;
constexpr std::size_t kReadPerTurn = 1 << 20; // bytes read from one connection per loop turn

struct PendingEvent {
  AppleEvent event;
  std::uint32_t exchangeID;
  bool wantsReply;
  std::uint64_t arrival;
};

struct ClientConnection {
  std::uint64_t id = 0;
  pid_t peer = 0;
  int socket = -1;
  FrameInput input;
  bool haveHeader = false;
  FrameHeader frame;
  std::optional<PendingEvent> pending;
  std::vector<std::uint8_t> output;
  std::size_t outputSent = 0;
  bool peerGone = false; // nothing more will be read
  bool closeWhenFlushed = false;
  bool suspended = false; // its event waits to be resumed; nothing more is read meanwhile
  bool ownThread = false; // served on a thread of its own, not by the loop

  ~ClientConnection() {
    if (pending)
      AEDisposeDesc(&pending->event);
    if (socket >= 0)
      os::calls().close(socket);
  }
};

// A connection served on a thread of its own. Its socket is closed only once the thread has
// been joined, so that closing the server can always shut it down to wake the thread.
struct ConnectionThread {
  ClientConnection client;
  std::atomic<bool> finished{false};
  std::thread thread;
};

struct Server {
  std::mutex lifecycle;
  bool open = false;
  pid_t owner = 0;
  std::string folder;
  int listener = -1;
  int wakeRead = -1;
  std::list<ClientConnection> clients;
  std::list<ConnectionThread> threads;
  std::atomic<std::uint64_t> arrivals{0};
  std::uint64_t connections = 0;
};

// Suspended events, keyed by their data handle, and the replies of resumed ones on their way to
// the loop. Both are reached from any thread.
struct Suspension {
  std::uint64_t client;
  std::uint32_t exchangeID;
  bool wantsReply;
  bool ownThread;
};
struct Resumed {
  std::uint64_t client;
  std::vector<std::uint8_t> frame; // empty when no reply is wanted
};
struct Suspensions {
  std::mutex lock;
  std::map<const void*, Suspension> waiting;
  std::vector<Resumed> resumed;          // for the loop
  std::vector<Resumed> resumedOnThreads; // for connections' own threads
  std::condition_variable threadResumed;
};

Suspensions& suspensions() {
  static auto* instance = new Suspensions;
  return *instance;
}

// The event being handled on this thread, and whether its handler suspended it.
struct CurrentEvent {
  const AppleEvent* event;
  Suspension suspension;
  bool suspended;
};
thread_local CurrentEvent* tCurrent = nullptr;

Server& server() {
  static auto* instance = new Server;
  return *instance;
}

std::atomic<bool> gQuitRequested{false};
std::atomic<int> gWakeWrite{-1};
std::atomic<bool> gOwnThreads{false};
std::atomic<bool> gThreadsStopping{false};

void wakeLoop() {
  int wake = gWakeWrite.load();
  if (wake >= 0) {
    char byte = 'w';
    ssize_t ignored = os::calls().write(wake, &byte, 1);
    (void)ignored;
  }
}

void queue(ClientConnection& client, std::vector<std::uint8_t> frame) {
  if (client.output.empty())
    client.output = std::move(frame); // the usual case: one answer at a time, not copied
  else
    client.output.insert(client.output.end(), frame.begin(), frame.end());
}

void flush(ClientConnection& client) {
  while (client.outputSent < client.output.size()) {
    ssize_t sent = os::sendSome(client.socket, client.output.data() + client.outputSent,
                                client.output.size() - client.outputSent);
    if (sent > 0) {
      client.outputSent += static_cast<std::size_t>(sent);
    } else if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      return;
    } else {
      client.peerGone = true;
      client.output.clear();
      client.outputSent = 0;
      return;
    }
  }
  client.output.clear();
  client.outputSent = 0;
}

// A frame that cannot be understood ends the connection: the peer is told why, then closed.
void refuse(ClientConnection& client, std::uint32_t exchangeID, OSStatus why) {
  queue(client, encodeErrorFrame(exchangeID, why));
  client.closeWhenFlushed = true;
}

void completeFrame(ClientConnection& client) {
  AppleEvent event;
  AEInitializeDesc(&event);
  SInt32 const sender = client.peer;
  // The sender's pid comes from the kernel, never from the sender's own bytes.
  if (AEUnflattenDescFromBuffer(client.input.data() + kFrameHeaderSize,
                                static_cast<Size>(client.frame.length), &event) != noErr ||
      event.descriptorType != typeAppleEvent ||
      AEPutAttributePtr(&event, keySenderPIDAttr, typeSInt32, &sender, sizeof sender) != noErr) {
    AEDisposeDesc(&event);
    // The framing is intact, so the connection can go on with its next frame.
    queue(client, encodeErrorFrame(client.frame.exchangeID, errAECorruptData));
  } else {
    bool wantsReply = client.frame.flags & kFrameWantsReply;
    client.pending = PendingEvent{event, client.frame.exchangeID, wantsReply,
                                  server().arrivals.fetch_add(1) + 1};
    if (!wantsReply)
      queue(client, encodeFrame({FrameKind::accepted, 0, 0, client.frame.exchangeID}, nullptr));
  }
  client.input.consume(kFrameHeaderSize + client.frame.length);
  client.haveHeader = false;
}

bool takingFrames(const ClientConnection& client) {
  return !client.pending && !client.suspended && !client.closeWhenFlushed && !client.peerGone;
}

// Takes the next frame from the bytes in hand, if they hold all of it.
void takeFrame(ClientConnection& client) {
  if (!takingFrames(client))
    return;
  if (!client.haveHeader && client.input.size() >= kFrameHeaderSize) {
    switch (decodeHeader(client.input.data(), client.frame)) {
    case HeaderCheck::ok:
      break;
    case HeaderCheck::tooLarge:
      refuse(client, os::readBigEndian32(client.input.data() + 12), memFullErr);
      return;
    default:
      refuse(client, 0, errAECorruptData);
      return;
    }
    if (client.frame.kind != FrameKind::event) {
      refuse(client, client.frame.exchangeID, errAECorruptData);
      return;
    }
    client.haveHeader = true;
  }
  if (client.haveHeader && client.input.size() - kFrameHeaderSize >= client.frame.length)
    completeFrame(client);
}

// A connection has one event in hand at a time, and a busy client cannot crowd out the others.
// Bytes received past the end of that event wait in its input.
void readFrom(ClientConnection& client) {
  std::size_t budget = kReadPerTurn;
  for (takeFrame(client); takingFrames(client) && budget > 0; takeFrame(client)) {
    std::size_t wanted = kReceiveRoom;
    if (client.haveHeader)
      wanted = std::min<std::size_t>(kFrameHeaderSize + client.frame.length - client.input.size(),
                                     budget);
    std::size_t room = 0;
    std::uint8_t* into = client.input.space(wanted, room);
    ssize_t got = os::receiveSome(client.socket, into, std::min(room, budget));
    if (got <= 0) {
      if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return;
      client.peerGone = true;
      return;
    }
    client.input.received(static_cast<std::size_t>(got));
    budget -= static_cast<std::size_t>(got);
  }
}

std::vector<std::uint8_t> replyFrame(const AppleEvent& reply, std::uint32_t exchangeID) {
  Size size = AESizeOfFlattenedDesc(&reply);
  std::vector<std::uint8_t> frame(kFrameHeaderSize + static_cast<std::size_t>(size));
  Size written = 0;
  if (size > 0 && static_cast<std::uint64_t>(size) <= kMaxFramePayload &&
      AEFlattenDesc(&reply, reinterpret_cast<Ptr>(frame.data() + kFrameHeaderSize), size,
                    &written) == noErr) {
    encodeHeader({FrameKind::reply, 0, static_cast<std::uint32_t>(written), exchangeID},
                 frame.data());
    frame.resize(kFrameHeaderSize + static_cast<std::size_t>(written));
    return frame;
  }
  return encodeErrorFrame(exchangeID, memFullErr);
}

// Runs a handler with `event` as this thread's current event; true when the handler suspended
// it (it may even have been resumed already on another thread).
bool dispatchAsCurrent(const AppleEvent& event, AppleEvent& reply, const Suspension& suspension,
                       AEEventHandlerUPP handler = nullptr, SRefCon refcon = nullptr) {
  CurrentEvent current{&event, suspension, false};
  CurrentEvent* outer = std::exchange(tCurrent, &current);
  if (handler) {
    if (OSErr result = handler(&event, &reply, refcon);
        result != noErr && reply.descriptorType != typeNull) {
      Size size = 0;
      if (AESizeOfParam(&reply, keyErrorNumber, nullptr, &size) == errAEDescNotFound) {
        SInt32 code = result;
        AEPutParamPtr(&reply, keyErrorNumber, typeSInt32, &code, sizeof code);
      }
    }
  } else {
    AEDispatchAppleEvent(&event, &reply);
  }
  tCurrent = outer;
  return current.suspended;
}

// Runs the handler of the connection's event and queues its reply; true when the handler
// suspended it (the event and its reply then belong to the application).
bool handle(ClientConnection& client) {
  PendingEvent work = *client.pending;
  client.pending.reset();
  AppleEvent reply;
  AEInitializeDesc(&reply);
  if (work.wantsReply && AECreateReplyEvent(&work.event, &reply) != noErr) {
    queue(client, encodeErrorFrame(work.exchangeID, memFullErr));
    AEDisposeDesc(&work.event);
    return false;
  }
  if (dispatchAsCurrent(work.event, reply,
                        {client.id, work.exchangeID, work.wantsReply, client.ownThread}))
    return true;
  AEDisposeDesc(&work.event);
  if (work.wantsReply && !client.peerGone)
    queue(client, replyFrame(reply, work.exchangeID));
  AEDisposeDesc(&reply);
  return false;
}

// Sends what is queued, waiting for room as long as the peer reads; closing the server shuts the
// socket down, which ends the wait.
void flushWaiting(ClientConnection& client) {
  for (flush(client); !client.output.empty() && !client.peerGone; flush(client)) {
    pollfd writable{client.socket, POLLOUT, 0};
    if (os::calls().poll(&writable, 1, -1) < 0 && errno != EINTR)
      client.peerGone = true;
  }
}

// A suspended event's reply, once another thread has resumed it.
void awaitResumed(ClientConnection& client) {
  auto& shared = suspensions();
  std::unique_lock guard(shared.lock);
  for (;;) {
    auto& resumed = shared.resumedOnThreads;
    auto done = std::find_if(resumed.begin(), resumed.end(),
                             [&](const Resumed& r) { return r.client == client.id; });
    if (done != resumed.end()) {
      if (!done->frame.empty())
        queue(client, std::move(done->frame));
      resumed.erase(done);
      return;
    }
    if (gThreadsStopping) {
      client.peerGone = true;
      return;
    }
    shared.threadResumed.wait(guard);
  }
}

// A connection's own thread: reads an event, answers it, and waits for the next, until the peer
// goes or the server closes.
void serveOnOwnThread(ClientConnection& client) {
  for (;;) {
    readFrom(client);
    flushWaiting(client); // what was refused or accepted, before a handler runs
    if (client.pending) {
      if (handle(client))
        awaitResumed(client);
      flushWaiting(client);
      continue;
    }
    if (client.peerGone || client.closeWhenFlushed || gThreadsStopping)
      return;
    pollfd readable{client.socket, POLLIN, 0};
    if (os::calls().poll(&readable, 1, -1) < 0 && errno != EINTR)
      return;
  }
}

// A connection accepted on `socket`, numbered in order of acceptance.
void admit(Server& state, ClientConnection& client, int socket) {
  client.socket = socket;
  client.id = ++state.connections;
  client.peer = peerProcess(socket);
}

void startOwnThread(Server& state, int socket) {
  ConnectionThread& served = state.threads.emplace_back();
  admit(state, served.client, socket);
  served.client.ownThread = true;
  try {
    served.thread = std::thread([&served] {
      serveOnOwnThread(served.client);
      served.finished = true;
      wakeLoop(); // to be joined, and its socket closed, at once
    });
  } catch (const std::system_error&) {
    state.threads.pop_back(); // no thread to be had: the peer sees the connection close
  }
}

void joinOrLeave(ConnectionThread& served) {
  if (!served.thread.joinable())
    return;
  if (served.thread.get_id() == std::this_thread::get_id())
    served.thread.detach(); // closed from its own handler (the process is exiting)
  else
    served.thread.join();
}

void joinFinished(Server& state) {
  state.threads.remove_if([](ConnectionThread& served) {
    if (!served.finished)
      return false;
    joinOrLeave(served);
    return true;
  });
}

void stopOwnThreads(Server& state) {
  gThreadsStopping = true;
  for (auto& served : state.threads)
    ::shutdown(served.client.socket, SHUT_RDWR);
  {
    std::lock_guard guard(suspensions().lock); // no waiter is between its look and its wait
  }
  suspensions().threadResumed.notify_all();
  for (auto& served : state.threads)
    joinOrLeave(served);
  state.threads.clear();
}

// One connection per turn: a sender writes its event right after connecting, so the new
// connection is read at once, and further waiting connections keep the listener ready for the
// next turn.
void acceptClient(Server& state) {
  int socket = os::acceptFrom(state.listener);
  if (socket < 0)
    return;
  if (!peerIsSameUser(socket) || state.clients.size() + state.threads.size() >= kMaxConnections) {
    os::calls().close(socket);
    return;
  }
  if (gOwnThreads) {
    startOwnThread(state, socket);
    return;
  }
  ClientConnection& client = state.clients.emplace_back();
  admit(state, client, socket);
  readFrom(client);
}

// Replies of events resumed on other threads go out on their connections, which may then read
// their next event.
void deliverResumed(Server& state) {
  std::vector<Resumed> resumed;
  {
    std::lock_guard guard(suspensions().lock);
    resumed.swap(suspensions().resumed);
  }
  for (Resumed& done : resumed) {
    for (auto& client : state.clients) {
      if (client.id != done.client)
        continue;
      client.suspended = false;
      takeFrame(client); // one already in hand; others are read when poll finds them
      if (!client.peerGone && !done.frame.empty())
        queue(client, std::move(done.frame));
    }
  }
}

void dropFinished(Server& state) {
  state.clients.remove_if([](const ClientConnection& client) {
    bool drained = client.output.empty();
    return !client.pending && !client.suspended &&
           ((client.peerGone) || (client.closeWhenFlushed && drained));
  });
}

void closeServer(Server& state) {
  if (!state.open)
    return;
  if (state.owner == getpid())
    os::removeEntry(state.folder, state.owner);
  stopOwnThreads(state);
  state.clients.clear();
  {
    std::lock_guard guard(suspensions().lock);
    suspensions().resumed.clear();
    suspensions().resumedOnThreads.clear();
  }
  os::calls().close(state.listener);
  int wakeWrite = gWakeWrite.exchange(-1);
  os::calls().close(wakeWrite);
  os::calls().close(state.wakeRead);
  state.listener = state.wakeRead = -1;
  state.open = false;
}

void closeAtExit() {
  auto& state = server();
  std::lock_guard guard(state.lifecycle);
  closeServer(state);
}

} // namespace

} // namespace coreservices

using namespace coreservices;

extern "C" OSStatus AEServerOpen(void) {
  auto& state = server();
  std::lock_guard guard(state.lifecycle);
  if (state.open)
    return noErr;
  auto folder = os::runtimeFolder(true);
  if (!folder)
    return paramErr;
  os::RegistryEntry self = identifyThisProcess();
  self.socketPath = os::socketPathFor(*folder, self.pid);

  int listener = os::listenAt(self.socketPath);
  int wake[2] = {-1, -1};
  std::string problem;
  if (listener < 0 || !os::openWakePipe(wake) || !os::writeEntry(*folder, self, &problem)) {
    if (!problem.empty())
      std::fprintf(stderr, "AppleEvents: %s\n", problem.c_str());
    if (listener >= 0)
      os::calls().close(listener);
    if (wake[0] >= 0) {
      os::calls().close(wake[0]);
      os::calls().close(wake[1]);
    }
    os::calls().unlink(self.socketPath.c_str());
    return paramErr;
  }
  state.folder = *folder;
  state.owner = self.pid;
  state.listener = listener;
  state.wakeRead = wake[0];
  gWakeWrite = wake[1];
  gQuitRequested = false;
  gThreadsStopping = false;
  state.open = true;
  static std::once_flag atExit;
  std::call_once(atExit, [] { std::atexit(closeAtExit); });
  return noErr;
}

extern "C" OSStatus AEServerProcessEvents(long timeoutMilliseconds) {
  auto& state = server();
  if (!state.open)
    return paramErr;
  if (gQuitRequested)
    return errAEWaitCanceled;

  bool workWaiting = false;
  std::vector<pollfd> watched{{state.wakeRead, POLLIN, 0}, {state.listener, POLLIN, 0}};
  for (auto& client : state.clients) {
    workWaiting = workWaiting || client.pending.has_value();
    short events = 0;
    if (!client.pending && !client.suspended && !client.peerGone && !client.closeWhenFlushed)
      events |= POLLIN;
    if (!client.output.empty())
      events |= POLLOUT;
    watched.push_back({client.socket, events, 0});
  }
  int wait = workWaiting ? 0
             : timeoutMilliseconds < 0 || timeoutMilliseconds > INT32_MAX
                 ? -1
                 : static_cast<int>(timeoutMilliseconds);
  int ready = os::calls().poll(watched.data(), watched.size(), wait);
  if (ready < 0 && errno != EINTR)
    return paramErr;

  if (watched[0].revents & POLLIN) {
    char drain[64];
    while (os::readSome(state.wakeRead, drain, sizeof drain) == sizeof drain) {
    }
  }
  deliverResumed(state);
  std::size_t index = 2;
  for (auto& client : state.clients) {
    if (index >= watched.size())
      break;
    short events = watched[index++].revents;
    if (events & POLLOUT)
      flush(client);
    if (events & (POLLIN | POLLHUP | POLLERR))
      readFrom(client);
  }
  joinFinished(state); // before accepting: ended connections no longer count
  if (watched[1].revents & POLLIN)
    acceptClient(state);
  if (gQuitRequested)
    return errAEWaitCanceled;

  dropFinished(state); // before the handler runs, so that it never sees a finished connection
  // The event that arrived first is handled first; each connection holds at most one.
  ClientConnection* next = nullptr;
  for (auto& client : state.clients)
    if (client.pending && (!next || client.pending->arrival < next->pending->arrival))
      next = &client;
  if (next) {
    next->suspended = handle(*next);
    flush(*next);
    takeFrame(*next); // poll does not tell of bytes already read
  }
  for (auto& client : state.clients)
    if (!client.output.empty())
      flush(client);
  dropFinished(state);
  return gQuitRequested ? OSStatus{errAEWaitCanceled} : OSStatus{noErr};
}

extern "C" void AEServerRequestQuit(void) {
  gQuitRequested = true;
  wakeLoop();
}

extern "C" OSErr AESuspendTheCurrentEvent(const AppleEvent* theAppleEvent) {
  if (!theAppleEvent || !tCurrent || tCurrent->suspended ||
      tCurrent->event->dataHandle != theAppleEvent->dataHandle)
    return errAEEventNotHandled;
  tCurrent->suspended = true;
  std::lock_guard guard(suspensions().lock);
  suspensions().waiting[theAppleEvent->dataHandle] = tCurrent->suspension;
  return noErr;
}

extern "C" OSErr AEResumeTheCurrentEvent(const AppleEvent* theAppleEvent, const AppleEvent* reply,
                                         AEEventHandlerUPP dispatcher, SRefCon handlerRefcon) {
  if (!theAppleEvent || !reply)
    return paramErr;
  Suspension suspension{};
  {
    std::lock_guard guard(suspensions().lock);
    auto found = suspensions().waiting.find(theAppleEvent->dataHandle);
    if (found == suspensions().waiting.end())
      return errAEEventNotHandled;
    suspension = found->second;
    suspensions().waiting.erase(found);
  }
  AppleEvent event = *theAppleEvent;
  AppleEvent answer = *reply;
  if (dispatcher != kAENoDispatch &&
      dispatchAsCurrent(event, answer, suspension,
                        dispatcher == kAEUseStandardDispatch ? nullptr : dispatcher, handlerRefcon))
    return noErr; // suspended once more
  Resumed done{suspension.client, {}};
  if (suspension.wantsReply)
    done.frame = replyFrame(answer, suspension.exchangeID);
  AEDisposeDesc(&event);
  AEDisposeDesc(&answer);
  {
    std::lock_guard guard(suspensions().lock);
    (suspension.ownThread ? suspensions().resumedOnThreads : suspensions().resumed)
        .push_back(std::move(done));
  }
  if (suspension.ownThread)
    suspensions().threadResumed.notify_all();
  else
    wakeLoop();
  return noErr;
}

extern "C" void AEServerServeConnectionsOnOwnThreads(Boolean on) {
  gOwnThreads = on != 0;
}

extern "C" Boolean AEServerQuitRequested(void) {
  return gQuitRequested ? 1 : 0;
}

extern "C" void AEServerClose(void) {
  closeAtExit();
}
