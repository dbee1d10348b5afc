// bridge-launch-driver: runs the launcher as the plug-in does inside the host, in a process of
// its own, so that each test starts with the process's one notice still unused.
//
//   bridge-launch-driver launch [TIMES]   make sure the companion runs, TIMES times (default 1)
//   bridge-launch-driver train-null       a training exchange without message data
#include "bridge/QuellbarkAppleEvents.h"
#include "bridge/QuellbarkLauncher.h"

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
  std::string command = argc > 1 ? argv[1] : "";
  if (command == "launch") {
    int times = argc > 2 ? std::atoi(argv[2]) : 1;
    for (int i = 0; i < times; ++i)
      launchQuellbarkIfNecessary();
    return 0;
  }
  if (command == "train-null") {
    trainWithMessageData(nullptr, kQuellbarkTrainSpamEvent);
    return 0;
  }
  std::fprintf(stderr, "usage: bridge-launch-driver launch [TIMES] | train-null\n");
  return 2;
}
