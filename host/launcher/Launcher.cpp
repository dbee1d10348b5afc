// mailhost, the command on PATH: starts the host's program with the host's settings in its
// environment, so that the program starts once. This launcher loads no library of its own, so
// it costs a fraction of a second start of the program. The program lies in libexec beside this
// launcher's folder, built and installed alike.
#include "runtime/HostSettings.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

int main(int, char** argv) {
  char self[PATH_MAX];
  ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) {
    std::fprintf(stderr, "mailhost: cannot tell where it is installed: %s\n", std::strerror(errno));
    return 1;
  }
  std::string program(self, static_cast<std::size_t>(length));
  program.erase(program.find_last_of('/'));
  program += "/../libexec/mailhost";
  mailhost::putHostSettings();
  ::execv(program.c_str(), argv);
  std::fprintf(stderr, "mailhost: cannot start %s: %s\n", program.c_str(), std::strerror(errno));
  return 1;
}
