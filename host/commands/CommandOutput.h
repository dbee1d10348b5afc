// Where the commands' results go: standard output, buffered, with the cause of the first failed
// write kept, so that a full disk or a broken pipe ends a command with one line instead of a run
// that goes on as if its results had been written.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <vector>

namespace mailhost {

// A stream buffer writing to a file descriptor. On a terminal it writes each line as it is
// completed; elsewhere when full or flushed. After a write fails it drops everything and keeps
// failing, so the stream stays bad.
class DescriptorOutputBuffer : public std::streambuf {
public:
  explicit DescriptorOutputBuffer(int fd);
  ~DescriptorOutputBuffer() override;
  DescriptorOutputBuffer(const DescriptorOutputBuffer&) = delete;
  DescriptorOutputBuffer& operator=(const DescriptorOutputBuffer&) = delete;

  // errno of the first failed write, 0 while none has failed.
  int error() const { return mError; }

protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize count) override;
  int sync() override;

private:
  bool drain();

  int mFd;
  bool mLineByLine;
  int mError = 0;
  std::vector<char> mBuffer;
};

class OutputError : public std::runtime_error {
public:
  explicit OutputError(int error); // "cannot write the output: <reason>"
};

// A JSON array written entry by entry as the entries come, so that it need not be held whole,
// laid out as dump(2) lays out the whole array. Text that is not UTF-8 (a path) is replaced.
class JsonArrayWriter {
public:
  explicit JsonArrayWriter(std::ostream& out) : mOut(out) {}

  void add(const nlohmann::json& entry);
  // Ends the document, also when nothing was added ("[]").
  void finish();

private:
  std::ostream& mOut;
  std::size_t mWritten = 0;
};

// Writes out what the stream holds and throws OutputError when anything written to it so far
// could not be written.
void checkOutput(std::ostream& out);

} // namespace mailhost
