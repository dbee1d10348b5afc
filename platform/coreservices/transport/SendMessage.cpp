// AESendMessage: ask the send observer, if any, then find the target and either dispatch in this
// process or run one exchange over a connection to the target's socket (event frame out;
// accepted, reply or error frame back).
#include <CoreServices/AE/AEMach.h>

#include "ae/AEPrivate.h"
#include "ae/Codec.h"
#include "mach/ReplyChannel.h"
#include "transport/Connection.h"
#include "transport/SendObserver.h"
#include "transport/SerialNumber.h"
#include "transport/Target.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <unistd.h>

namespace coreservices {

namespace {

constexpr long kDefaultTimeoutTicks = 3600;

// An event goes out as the frame's header and the event flattened in pieces: a message it carries
// is written from the event's own copy, not copied into a frame first. The pieces of this
// thread's last exchange are kept for its next one; they hold the small parts only.
struct FramePieces {
  ae::FlatPieces flat;
  std::vector<iovec> vectors;
};
constexpr std::size_t kPiecesRoomGuess = 16 * 1024;   // what the small parts of most events take
constexpr std::size_t kKeptPiecesLimit = 1024 * 1024; // room kept at most
thread_local FramePieces tKeptPieces;
constexpr AESendMode kKnownSendModeBits = 0x3 | 0x30 | kAECanSwitchLayer | kAEDontReconnect |
                                          kAEWantReceipt | kAEDontRecord | kAEDontExecute |
                                          kAEProcessNonReplyEvents;

long defaultTimeoutTicks() {
  if (const char* text = std::getenv("AE_DEFAULT_TIMEOUT_TICKS")) {
    char* end = nullptr;
    long ticks = std::strtol(text, &end, 10);
    if (end != text && *end == '\0' && ticks > 0)
      return ticks;
  }
  return kDefaultTimeoutTicks;
}

Deadline deadlineFor(long ticks) {
  if (ticks == kNoTimeOut || ticks == 0)
    return std::nullopt;
  if (ticks < 0)
    ticks = defaultTimeoutTicks();
  return Clock::now() + std::chrono::milliseconds(ticks * 1000 / 60);
}

std::uint32_t nextExchangeID() {
  static std::atomic<std::uint32_t> counter{0};
  return ++counter;
}

OSStatus statusFor(IOStatus io) {
  switch (io) {
  case IOStatus::ok:
    return noErr;
  case IOStatus::timedOut:
    return errAETimeout;
  case IOStatus::closed:
    return connectionInvalid;
  case IOStatus::refused:
    return procNotFound;
  case IOStatus::protocolError:
    return errAECorruptData;
  }
  return connectionInvalid;
}

OSStatus dispatchInThisProcess(const AppleEvent* event, AppleEvent* reply, bool wantsReply) {
  AppleEvent answer;
  AEInitializeDesc(&answer);
  if (wantsReply) {
    if (OSStatus made = AECreateReplyEvent(event, &answer); made != noErr)
      return made;
  }
  AEDispatchAppleEvent(event, &answer);
  if (reply)
    *reply = answer;
  else
    AEDisposeDesc(&answer);
  return noErr;
}

std::size_t bytesIn(const std::vector<iovec>& pieces) {
  std::size_t total = 0;
  for (const iovec& piece : pieces)
    total += piece.iov_len;
  return total;
}

// One exchange on a channel that the caller holds exclusively; `frame` is used up.
OSStatus exchange(ReplyChannel& channel, const os::RegistryEntry& target, std::vector<iovec>& frame,
                  std::uint32_t exchangeID, bool wantsReply, Deadline deadline, AppleEvent* reply) {
  if (channel.socket() >= 0 && channel.endpoint() != target.socketPath)
    channel.disconnect();
  // A connection kept from an earlier channel serves too. Either may have been closed by its peer
  // since, which the send finds out: a request that went nowhere goes again on a new connection.
  // What else may have arrived on it (an answer too late for its exchange) is skipped by
  // exchange ID.
  bool reused = channel.socket() >= 0 || channel.adoptKept(target.socketPath);
  auto connect = [&] {
    int socket = -1;
    IOStatus connected = connectTo(target.socketPath, deadline, socket);
    if (connected == IOStatus::ok)
      channel.adopt(socket, target.socketPath);
    return connected;
  };
  if (!reused)
    if (IOStatus connected = connect(); connected != IOStatus::ok)
      return statusFor(connected);
  std::size_t unsent = bytesIn(frame);
  IOStatus written = writeAllGathered(channel.socket(), frame, deadline);
  if (written == IOStatus::closed && reused && bytesIn(frame) == unsent) {
    channel.disconnect();
    if (IOStatus connected = connect(); connected != IOStatus::ok)
      return statusFor(connected);
    written = writeAllGathered(channel.socket(), frame, deadline);
  }
  if (written != IOStatus::ok)
    return statusFor(written);

  FrameInput input;
  // Bytes that came after the answer belong to no exchange of this one's: the connection, which
  // cannot say where its next frame starts now, is not used again.
  struct DropIfLeftOver {
    ReplyChannel& channel;
    FrameInput& input;
    ~DropIfLeftOver() {
      if (input.size() > 0)
        channel.disconnect();
    }
  } dropIfLeftOver{channel, input};
  for (;;) {
    FrameHeader header;
    std::vector<std::uint8_t> payload;
    if (IOStatus read = readFrame(channel.socket(), deadline, input, header, payload);
        read != IOStatus::ok)
      return statusFor(read);
    if (header.exchangeID != exchangeID)
      continue; // left over from an earlier exchange on this channel
    switch (header.kind) {
    case FrameKind::error:
      return payload.size() == 4 ? static_cast<OSStatus>(readBigEndian32(payload.data()))
                                 : errAECorruptData;
    case FrameKind::accepted:
      if (!wantsReply)
        return noErr;
      break;
    case FrameKind::reply: {
      if (!wantsReply)
        break;
      AppleEvent answer;
      AEInitializeDesc(&answer);
      if (AEUnflattenDescFromBuffer(payload.data(), static_cast<Size>(payload.size()), &answer) !=
          noErr)
        return errAECorruptData;
      if (reply)
        *reply = answer;
      else
        AEDisposeDesc(&answer);
      return noErr;
    }
    case FrameKind::event:
      break;
    }
    return errAECorruptData;
  }
}

OSStatus sendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode sendMode,
                     long timeOutInTicks) {
  AESendMode replyMode = sendMode & 0x3;
  if ((replyMode != kAENoReply && replyMode != kAEWaitReply) || (sendMode & ~kKnownSendModeBits))
    return errAEUnknownSendMode;
  bool wantsReply = replyMode == kAEWaitReply;
  Deadline deadline = deadlineFor(timeOutInTicks);

  Target target;
  if (OSStatus resolved = resolveTarget(event, target); resolved != noErr)
    return resolved;
  if (target.inThisProcess)
    return dispatchInThisProcess(event, reply, wantsReply);

  std::shared_ptr<ReplyChannel> channel;
  mach_port_t port = MACH_PORT_NULL;
  DescType portType = 0;
  Size portSize = 0;
  if (AEGetAttributePtr(event, keyReplyPortAttr, typeMachPort, &portType, &port, sizeof port,
                        &portSize) == noErr &&
      portSize == sizeof port && port != MACH_PORT_NULL) {
    channel = replyChannelForPort(port);
    if (!channel)
      return noPortErr;
  } else {
    channel = std::make_shared<ReplyChannel>(); // closed when this call ends
  }

  Size flatSize = AESizeOfFlattenedDesc(event);
  if (flatSize <= 0 || static_cast<std::uint64_t>(flatSize) > kMaxFramePayload)
    return paramErr;
  std::uint32_t exchangeID = nextExchangeID();
  // Taken rather than borrowed, so that an exchange started meanwhile on this thread has its own.
  FramePieces frame = std::move(tKeptPieces);
  frame.flat.clear(
      std::min(kFrameHeaderSize + static_cast<std::size_t>(flatSize), kPiecesRoomGuess));
  frame.flat.room(kFrameHeaderSize);
  if (OSStatus flattened = ae::flattenInPieces(ae::view(event), frame.flat); flattened != noErr)
    return flattened;
  encodeHeader({FrameKind::event, static_cast<std::uint8_t>(wantsReply ? kFrameWantsReply : 0),
                static_cast<std::uint32_t>(frame.flat.size() - kFrameHeaderSize), exchangeID},
               frame.flat.firstBytes());
  frame.vectors.clear();
  frame.flat.forEachPiece([&](const std::uint8_t* start, std::size_t length) {
    frame.vectors.push_back({const_cast<std::uint8_t*>(start), length});
  });

  std::lock_guard busy(channel->inUse());
  OSStatus status =
      exchange(*channel, target.entry, frame.vectors, exchangeID, wantsReply, deadline, reply);
  if (frame.flat.ownBytes() <= kKeptPiecesLimit)
    tKeptPieces = std::move(frame);
  if (status != noErr)
    channel->disconnect(); // a late reply must never reach a later exchange
  return status;
}

} // namespace

} // namespace coreservices

using namespace coreservices;

extern "C" OSStatus AESendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode sendMode,
                                  long timeOutInTicks) {
  if (!event)
    return paramErr;
  if (reply)
    AEInitializeDesc(reply);
  if (!sendObserverInstalled())
    return sendMessage(event, reply, sendMode, timeOutInTicks);

  if (OSStatus refused = observeWillSend(event); refused != noErr) {
    AppleEvent none;
    AEInitializeDesc(&none);
    observeDidSend(event, refused, &none);
    return refused;
  }
  // The observer sees the reply even when the caller wants none of it.
  AppleEvent ownReply;
  AEInitializeDesc(&ownReply);
  AppleEvent* answer = reply ? reply : &ownReply;
  OSStatus status = sendMessage(event, answer, sendMode, timeOutInTicks);
  observeDidSend(event, status, answer);
  AEDisposeDesc(&ownReply);
  return status;
}
