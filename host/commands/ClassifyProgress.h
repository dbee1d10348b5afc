// The progress bar `mailhost classify` draws on a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>

namespace mailhost {

// A one-line progress bar on a terminal ("[#####.....]  12/40"), redrawn in place at most
// every kRedrawInterval (and at the end). It draws nothing unless its stream is a terminal, so
// redirected output stays clean. The results go to output (a descriptor): only when that is
// the same terminal does the bar step aside for them.
class ClassifyProgress {
public:
  ClassifyProgress(std::FILE* terminal, int output);
  ~ClassifyProgress() { clear(); }

  static constexpr std::chrono::milliseconds kRedrawInterval{100};

  bool active() const { return mActive; }
  // Whether draw would redraw the bar now.
  bool due(std::size_t done, std::size_t total) const;
  void draw(std::size_t done, std::size_t total);
  void clear(); // takes the bar away so that a line can be printed in its place
  // A result line is about to be written: on a shared terminal the bar is taken away and the
  // next draw puts it back at once, under the line.
  void makeRoomForOutput();

private:
  std::FILE* mTerminal;
  bool mActive;
  bool mSharesTerminal;
  bool mShown = false;
  bool mRedrawNow = false;
  std::chrono::steady_clock::time_point mLastDrawn;
};

} // namespace mailhost
