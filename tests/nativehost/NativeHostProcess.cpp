#include "NativeHostProcess.h"
#include "Process.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace nativehost {

namespace {

bool readExactly(int fd, char* into, std::size_t size) {
  std::size_t got = 0;
  while (got < size) {
    pollfd entry = {fd, POLLIN, 0};
    if (::poll(&entry, 1, 60'000) <= 0)
      return false;
    ssize_t n = ::read(fd, into + got, size - got);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    got += std::size_t(n);
  }
  return true;
}

} // namespace

std::string base64(std::string_view bytes) {
  gchar* text = g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size());
  std::string result(text);
  g_free(text);
  return result;
}

NativeHostProcess::NativeHostProcess(const std::vector<std::string>& arguments,
                                     const std::vector<std::string>& environment) {
  std::signal(SIGPIPE, SIG_IGN);
  int toHost[2], fromHost[2];
  if (::pipe2(toHost, O_CLOEXEC) != 0 || ::pipe2(fromHost, O_CLOEXEC) != 0)
    throw std::runtime_error("cannot make pipes");
  mIn = toHost[1];
  mOut = fromHost[0];
  mPid = testsupport::spawnConnected(arguments, environment, toHost[0], fromHost[1]);
  ::close(toHost[0]);
  ::close(fromHost[1]);
}

NativeHostProcess::~NativeHostProcess() {
  closeInput();
  if (mOut >= 0)
    ::close(mOut);
  if (mPid > 0) {
    ::kill(mPid, SIGKILL);
    ::waitpid(mPid, nullptr, 0);
  }
}

void NativeHostProcess::sendRaw(std::string_view bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::write(mIn, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR)
      continue;
    ASSERT_GT(n, 0) << "the host stopped reading";
    done += std::size_t(n);
  }
}

void NativeHostProcess::sendFrame(std::string_view body) {
  std::uint32_t length = std::uint32_t(body.size());
  sendRaw(std::string_view(reinterpret_cast<const char*>(&length), sizeof length));
  sendRaw(body);
}

void NativeHostProcess::send(const nlohmann::json& request) {
  sendFrame(request.dump());
}

std::optional<nlohmann::json> NativeHostProcess::receive() {
  std::uint32_t length = 0;
  if (!readExactly(mOut, reinterpret_cast<char*>(&length), sizeof length))
    return std::nullopt;
  std::string body(length, '\0');
  if (!readExactly(mOut, body.data(), length))
    return std::nullopt;
  return nlohmann::json::parse(body);
}

nlohmann::json NativeHostProcess::ask(const nlohmann::json& request) {
  send(request);
  std::optional<nlohmann::json> answer = receive();
  EXPECT_TRUE(answer) << "no answer to " << request.dump().substr(0, 200);
  return answer.value_or(nlohmann::json());
}

void NativeHostProcess::closeInput() {
  if (mIn >= 0)
    ::close(mIn);
  mIn = -1;
}

int NativeHostProcess::wait() {
  for (int i = 0; i < 600; ++i) {
    int status = 0;
    pid_t done = ::waitpid(mPid, &status, WNOHANG);
    if (done == mPid) {
      mPid = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return -1;
}

} // namespace nativehost
