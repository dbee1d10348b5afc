#include "commands/CommandOutput.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <unistd.h>

namespace mailhost {

namespace {
constexpr std::size_t kBufferSize = 64 * 1024;
}

DescriptorOutputBuffer::DescriptorOutputBuffer(int fd)
    : mFd(fd), mLineByLine(::isatty(fd) == 1), mBuffer(kBufferSize) {
  setp(mBuffer.data(), mBuffer.data() + mBuffer.size());
}

DescriptorOutputBuffer::~DescriptorOutputBuffer() {
  drain();
}

bool DescriptorOutputBuffer::drain() {
  const char* next = pbase();
  const char* end = pptr();
  while (mError == 0 && next < end) {
    ssize_t written = ::write(mFd, next, static_cast<std::size_t>(end - next));
    if (written < 0 && errno == EINTR)
      continue;
    if (written <= 0)
      mError = written < 0 ? errno : EIO;
    else
      next += written;
  }
  setp(mBuffer.data(), mBuffer.data() + mBuffer.size());
  return mError == 0;
}

DescriptorOutputBuffer::int_type DescriptorOutputBuffer::overflow(int_type c) {
  if (pptr() == epptr() && !drain())
    return traits_type::eof();
  if (traits_type::eq_int_type(c, traits_type::eof()))
    return drain() ? traits_type::not_eof(c) : traits_type::eof();
  *pptr() = traits_type::to_char_type(c);
  pbump(1);
  if (mLineByLine && traits_type::to_char_type(c) == '\n' && !drain())
    return traits_type::eof();
  return mError == 0 ? c : traits_type::eof();
}

std::streamsize DescriptorOutputBuffer::xsputn(const char* text, std::streamsize count) {
  if (mError != 0 || count <= 0)
    return 0;
  std::streamsize done = 0;
  while (done < count) {
    if (pptr() == epptr() && !drain())
      return 0;
    std::streamsize room = epptr() - pptr();
    std::streamsize part = std::min(room, count - done);
    std::memcpy(pptr(), text + done, static_cast<std::size_t>(part));
    pbump(static_cast<int>(part));
    done += part;
  }
  if (mLineByLine && std::memchr(text, '\n', static_cast<std::size_t>(count)) && !drain())
    return 0;
  return mError == 0 ? count : 0;
}

int DescriptorOutputBuffer::sync() {
  return drain() ? 0 : -1;
}

OutputError::OutputError(int error)
    : std::runtime_error(std::string("cannot write the output: ") +
                         (error != 0 ? std::strerror(error) : "the stream failed")) {}

void checkOutput(std::ostream& out) {
  out.flush();
  if (out)
    return;
  auto* buffer = dynamic_cast<DescriptorOutputBuffer*>(out.rdbuf());
  throw OutputError(buffer ? buffer->error() : 0);
}

void JsonArrayWriter::add(const nlohmann::json& entry) {
  std::string text = entry.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
  mOut << (mWritten == 0 ? "[\n  " : ",\n  ");
  std::string_view rest = text;
  for (std::size_t line; (line = rest.find('\n')) != std::string_view::npos;
       rest.remove_prefix(line + 1))
    mOut << rest.substr(0, line + 1) << "  ";
  mOut << rest;
  ++mWritten;
}

void JsonArrayWriter::finish() {
  mOut << (mWritten == 0 ? "[]\n" : "\n]\n");
}

} // namespace mailhost
