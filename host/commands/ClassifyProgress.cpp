#include "ClassifyProgress.h"

#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace mailhost {

namespace {
constexpr std::size_t kWidth = 30;

bool sameTerminal(int a, int b) {
  struct stat first {};
  struct stat second {};
  return ::isatty(a) && ::isatty(b) && ::fstat(a, &first) == 0 && ::fstat(b, &second) == 0 &&
         first.st_rdev == second.st_rdev;
}
} // namespace

ClassifyProgress::ClassifyProgress(std::FILE* terminal, int output)
    : mTerminal(terminal), mActive(terminal && ::isatty(::fileno(terminal))),
      mSharesTerminal(mActive && sameTerminal(::fileno(terminal), output)) {}

bool ClassifyProgress::due(std::size_t done, std::size_t total) const {
  return mActive && total > 0 &&
         (mRedrawNow || done == 0 || done == total ||
          std::chrono::steady_clock::now() - mLastDrawn >= kRedrawInterval);
}

void ClassifyProgress::draw(std::size_t done, std::size_t total) {
  if (!due(done, total))
    return;
  mLastDrawn = std::chrono::steady_clock::now();
  mRedrawNow = false;
  std::size_t filled = done * kWidth / total;
  std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
  std::fprintf(mTerminal, "\r[%s] %zu/%zu", bar.c_str(), done, total);
  std::fflush(mTerminal);
  mShown = true;
}

void ClassifyProgress::clear() {
  if (!mShown)
    return;
  std::fputs("\r\033[K", mTerminal);
  std::fflush(mTerminal);
  mShown = false;
}

void ClassifyProgress::makeRoomForOutput() {
  if (!mSharesTerminal || !mShown)
    return;
  clear();
  mRedrawNow = true;
}

} // namespace mailhost
