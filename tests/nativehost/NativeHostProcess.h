// `mailhost native-host` as a process whose standard input and output the test holds, speaking
// the native-messaging frames the mail client speaks.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace nativehost {

class NativeHostProcess {
public:
  NativeHostProcess(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment);
  ~NativeHostProcess(); // kills it if it still runs

  void send(const nlohmann::json& request);
  void sendFrame(std::string_view body);
  void sendRaw(std::string_view bytes); // anything, frame or not
  // The next answer; nullopt when the output closed (or nothing came within a minute).
  std::optional<nlohmann::json> receive();
  nlohmann::json ask(const nlohmann::json& request); // send, then receive (fails if none)

  void closeInput();
  int wait(); // exit status; -1 when it did not end by itself within a minute

private:
  pid_t mPid = -1;
  int mIn = -1;
  int mOut = -1;
};

std::string base64(std::string_view bytes);

} // namespace nativehost
