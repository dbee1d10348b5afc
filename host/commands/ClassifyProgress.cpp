#include "ClassifyProgress.h"

#include <string>
#include <unistd.h>

namespace mailhost {

namespace {
constexpr std::size_t kWidth = 30;
}

ClassifyProgress::ClassifyProgress(std::FILE* terminal)
    : mTerminal(terminal), mActive(terminal && ::isatty(::fileno(terminal))) {}

bool ClassifyProgress::due(std::size_t done, std::size_t total) const {
  return mActive && total > 0 &&
         (done == 0 || done == total ||
          std::chrono::steady_clock::now() - mLastDrawn >= kRedrawInterval);
}

void ClassifyProgress::draw(std::size_t done, std::size_t total) {
  if (!due(done, total))
    return;
  mLastDrawn = std::chrono::steady_clock::now();
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

} // namespace mailhost
