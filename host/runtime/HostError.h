// A failure that ends the host's command: its text is printed as one line after "mailhost: ".
#pragma once

#include <stdexcept>

namespace mailhost {

class HostError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

} // namespace mailhost
