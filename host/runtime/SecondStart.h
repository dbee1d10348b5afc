// The host's second start: a program started without the host's settings (not by its launcher)
// starts itself again with them set.
#pragma once

#include <string>
#include <vector>

namespace mailhost {

// Called first in main. In a first start, starts this program again with the host's settings
// (and goes on as it is if that fails); in the second, puts the user's environment back, so that
// what the host starts (Quellbark and its bogofilter) runs as the user would run it.
void startAgainWithHostSettings(int argc, char** argv);

// The environment for another mailhost process of this one (a worker): this process's, with the
// settings of a second start, so that it starts once, not twice.
std::vector<std::string> environmentForAnotherHost();

} // namespace mailhost
