// quellbark-test-client: sends the plug-in's events to the running Quellbark, as the plug-in
// does, and prints one line per reply: "errn=<n|none> score=<n|none>".
//
//   quellbark-test-client EVENT FILE [--repeat N] [--separator S] [--plain] [--raw] [--no-message]
#include <CLI/CLI.hpp>
#include <CoreServices/CoreServices.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

OSType code(std::string const& text) {
  OSType value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = (value << 8) | static_cast<unsigned char>(i < text.size() ? text[i] : ' ');
  }
  return value;
}

std::string readParam(AppleEvent const& reply, AEKeyword key) {
  SInt16 value = 0;
  OSErr const err = AEGetParamPtr(&reply, key, typeSInt16, nullptr, &value, sizeof value, nullptr);
  return err == noErr ? std::to_string(value) : "none";
}

} // namespace

int main(int argc, char** argv) {
  CLI::App app{"Sends Quellbark's events and prints the replies."};
  std::string event;
  std::string file;
  int repeat = 1;
  std::string separator;
  bool plain = false;
  bool raw = false;
  bool noMessage = false;
  app.add_option("EVENT", event)->required();
  app.add_option("FILE", file)->required();
  app.add_option("--repeat", repeat);
  app.add_option("--separator", separator);
  app.add_flag("--plain", plain, "bRFC false");
  app.add_flag("--raw", raw, "bDec false");
  app.add_flag("--no-message", noMessage, "leave out 'Mess'");
  CLI11_PARSE(app, argc, argv);

  std::ifstream in(file, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  std::string const message = text.str();

  OSType const signature = code("Qbrk");
  for (int i = 0; i < repeat; ++i) {
    AppleEvent request = {typeNull, nullptr};
    AEBuildError buildError{};
    OSStatus status =
        AEBuildAppleEvent(signature, code(event), typeApplSignature, &signature, sizeof signature,
                          kAutoGenerateReturnID, kAnyTransactionID, &request, &buildError,
                          "'----':'null'(),bDec:bool(@),bRFC:bool(@),sSEP:'TEXT'(@)", raw ? 0 : 1,
                          plain ? 0 : 1, separator.c_str());
    if (status == noErr && !noMessage) {
      status = AEPutParamPtr(&request, code("Mess"), typeChar, message.data(),
                             static_cast<Size>(message.size()));
    }
    if (status != noErr) {
      std::printf("build error %d\n", static_cast<int>(status));
      return 2;
    }
    AppleEvent reply = {typeNull, nullptr};
    status = AESendMessage(&request, &reply, kAEWaitReply, kAEDefaultTimeout);
    AEDisposeDesc(&request);
    if (status != noErr) {
      std::printf("send error %d\n", static_cast<int>(status));
      return 2;
    }
    std::printf("errn=%s score=%s\n", readParam(reply, keyErrorNumber).c_str(),
                readParam(reply, keyDirectObject).c_str());
    AEDisposeDesc(&reply);
  }
  return 0;
}
