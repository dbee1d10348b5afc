// quellbark-test-client: sends Quellbark's events as the plug-in does and prints one line per
// reply, "errn=<n|none> score=<n|none>".
//
//   quellbark-test-client EVENT FILE [REPEAT [SEPARATOR [FLAGS]]]
// FLAGS: any of "plain" (bRFC false), "raw" (bDec false), "nomess" (no 'Mess' at all).
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
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s EVENT FILE [REPEAT [SEPARATOR [FLAGS]]]\n", argv[0]);
    return 2;
  }
  std::stringstream text;
  text << std::ifstream(argv[2], std::ios::binary).rdbuf();
  std::string const message = text.str();
  int const repeat = argc > 3 ? std::stoi(argv[3]) : 1;
  char const* separator = argc > 4 ? argv[4] : "";
  std::string const flags = argc > 5 ? argv[5] : "";

  OSType const signature = code("Qbrk");
  for (int i = 0; i < repeat; ++i) {
    AppleEvent request = {typeNull, nullptr};
    AEBuildError buildError{};
    OSStatus status =
        AEBuildAppleEvent(signature, code(argv[1]), typeApplSignature, &signature, sizeof signature,
                          kAutoGenerateReturnID, kAnyTransactionID, &request, &buildError,
                          "'----':'null'(),bDec:bool(@),bRFC:bool(@),sSEP:'TEXT'(@)",
                          flags.find("raw") == std::string::npos,
                          flags.find("plain") == std::string::npos, separator);
    if (status == noErr && flags.find("nomess") == std::string::npos) {
      status = AEPutParamPtr(&request, code("Mess"), typeChar, message.data(),
                             static_cast<Size>(message.size()));
    }
    AppleEvent reply = {typeNull, nullptr};
    if (status == noErr) {
      status = AESendMessage(&request, &reply, kAEWaitReply, kAEDefaultTimeout);
    }
    AEDisposeDesc(&request);
    if (status != noErr) {
      std::printf("error %d\n", static_cast<int>(status));
      return 2;
    }
    std::printf("errn=%s score=%s\n", readParam(reply, keyErrorNumber).c_str(),
                readParam(reply, keyDirectObject).c_str());
    AEDisposeDesc(&reply);
  }
  return 0;
}
