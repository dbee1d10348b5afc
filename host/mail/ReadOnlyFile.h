// A mail file opened for reading only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <sys/stat.h>

namespace mailhost {

// A mail file opened for reading only: the host never writes to a mail store.
class ReadOnlyFile {
public:
  // Throws MailError (NotFound, AccessDenied, NotAFolder for a directory, Io).
  explicit ReadOnlyFile(const std::filesystem::path& path);
  ~ReadOnlyFile();
  ReadOnlyFile(const ReadOnlyFile&) = delete;
  ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;

  std::uint64_t size() const { return static_cast<std::uint64_t>(mStatus.st_size); }
  // The open file's status, as taken when it was opened.
  const struct stat& status() const { return mStatus; }
  const std::filesystem::path& path() const { return mPath; }

  // Reads up to `count` bytes at `offset`, retrying short reads; returns the bytes read (less
  // than count only at the end of the file). Throws MailError(Io) on a read error.
  std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t count) const;

  // Hands the descriptor over (for a GMime stream that closes it); the object is then empty.
  int release();

private:
  std::filesystem::path mPath;
  int mFd = -1;
  struct stat mStatus {};
};

} // namespace mailhost
