#pragma once

#include <cstddef>
#include <cstdio>

namespace mailhost {

// A one-line progress bar on a terminal ("[#####.....]  12/40"), redrawn in place. It draws
// nothing unless its stream is a terminal, so redirected output stays clean.
class ClassifyProgress {
public:
  explicit ClassifyProgress(std::FILE* terminal);
  ~ClassifyProgress() { clear(); }

  bool active() const { return mActive; }
  void draw(std::size_t done, std::size_t total);
  void clear(); // takes the bar away so that a line can be printed in its place

private:
  std::FILE* mTerminal;
  bool mActive;
  bool mShown = false;
};

} // namespace mailhost
