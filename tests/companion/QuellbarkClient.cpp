// A client process of its own for the concurrency tests: sends its events to Quellbark one after
// the other, each waiting for its reply, and prints one line per reply: "<errn> <score>", with
// "none" for what the reply lacks.
//
//   quellbark_test_client EVENT MESSAGE [EVENT MESSAGE ...]
#include <CoreServices/CoreServices.h>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv) {
  const OSType signature = FOUR_CHAR_CODE("Qbrk");
  const auto read = [](const AppleEvent& reply, AEKeyword key) {
    SInt16 value = 0;
    return AEGetParamPtr(&reply, key, typeSInt16, nullptr, &value, 2, nullptr) == noErr
               ? std::to_string(value)
               : std::string("none");
  };
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strlen(argv[i]) != 4) {
      return 2;
    }
    const OSType id = static_cast<OSType>(static_cast<unsigned char>(argv[i][0])) << 24 |
                      static_cast<OSType>(static_cast<unsigned char>(argv[i][1])) << 16 |
                      static_cast<OSType>(static_cast<unsigned char>(argv[i][2])) << 8 |
                      static_cast<OSType>(static_cast<unsigned char>(argv[i][3]));
    AppleEvent request = {typeNull, nullptr}, reply = {typeNull, nullptr};
    OSStatus status = AEBuildAppleEvent(signature, id, typeApplSignature, &signature,
                                        sizeof signature, kAutoGenerateReturnID, kAnyTransactionID,
                                        &request, nullptr, "'----':'null'()");
    if (status == noErr) {
      status = AEPutParamPtr(&request, FOUR_CHAR_CODE("Mess"), typeChar, argv[i + 1],
                             static_cast<Size>(std::strlen(argv[i + 1])));
    }
    if (status == noErr) {
      status = AESendMessage(&request, &reply, kAEWaitReply, kAEDefaultTimeout);
    }
    std::printf("%s %s\n", status == noErr ? read(reply, keyErrorNumber).c_str() : "send-failed",
                read(reply, keyDirectObject).c_str());
    AEDisposeDesc(&request);
    AEDisposeDesc(&reply);
  }
  return 0;
}
