// Untrusted bytes from a client of this application's event socket: the server must take any
// stream apart without crashing or stalling, and what it sends back must be whole, well-formed
// answers (an accepted, reply or error frame; an error frame carries its 4-byte code).
#include "FuzzScratch.h"

#include <CoreServices/AE/AEServer.h>

#include "transport/Connection.h"
#include <unix/Registry.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace coreservices;

namespace {

const std::string& serverSocket() {
  // Never destroyed: the clean-up at exit still needs it.
  static const auto* path = new std::string([] {
    setenv("XDG_RUNTIME_DIR", fuzzScratch().c_str(), 1);
    if (AEServerOpen() != noErr)
      std::abort();
    std::atexit([] { AEServerClose(); }); // before the folder goes
    return os::socketPathFor(fuzzScratch().string() + "/AppleEvents", getpid());
  }());
  return *path;
}

void checkAnswers(const std::vector<std::uint8_t>& answers) {
  std::size_t offset = 0;
  while (offset < answers.size()) {
    FrameHeader header;
    if (answers.size() - offset < kFrameHeaderSize ||
        decodeHeader(answers.data() + offset, header) != HeaderCheck::ok ||
        header.kind == FrameKind::event ||
        (header.kind == FrameKind::error && header.length != 4) ||
        answers.size() - offset - kFrameHeaderSize < header.length)
      std::abort();
    offset += kFrameHeaderSize + header.length;
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 64 * 1024) // all of it must fit in the socket while the server is not reading
    return 0;
  const std::string& path = serverSocket();
  int client = -1;
  if (connectTo(path, Clock::now() + std::chrono::seconds(5), client) != IOStatus::ok)
    std::abort();
  int buffer = 256 * 1024;
  setsockopt(client, SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
  std::vector<iovec> bytes{{const_cast<std::uint8_t*>(data), size}};
  if (size && writeAllGathered(client, bytes, Clock::now()) != IOStatus::ok)
    std::abort();
  shutdown(client, SHUT_WR);

  // The server closes the connection once the client has hung up and every event is answered.
  std::vector<std::uint8_t> answers;
  for (int turn = 0;; ++turn) {
    if (turn > 10000)
      std::abort(); // stalled
    AEServerProcessEvents(0);
    std::uint8_t chunk[4096];
    ssize_t got = recv(client, chunk, sizeof chunk, 0);
    if (got > 0)
      answers.insert(answers.end(), chunk, chunk + got);
    else if (got == 0)
      break;
    else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
      break; // reset by a server that refused the stream: what came before still counts
  }
  close(client);
  checkAnswers(answers);
  return 0;
}
