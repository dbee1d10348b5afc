#include "EventParameters.h"

#include "AppIdentity.h"

namespace quellbark {

namespace {

OSErr readBytes(const AppleEvent& event, AEKeyword key, ParameterBytes& bytes) {
  DescType type = typeNull;
  Size size = 0;
  if (const OSErr err = AESizeOfParam(&event, key, &type, &size); err != noErr) {
    return err;
  }
  DescType wanted = typeWildCard;
  if (type == typeUnicodeText || type == typeUTF16ExternalRepresentation) {
    wanted = typeUTF8Text; // up to 3 bytes of UTF-8 for each 2 bytes of UTF-16
    size = size / 2 * 3 + 4;
  }
  bytes.data = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(size));
  Size actual = 0;
  if (const OSErr err =
          AEGetParamPtr(&event, key, wanted, nullptr, bytes.data.get(), size, &actual);
      err != noErr) {
    return err;
  }
  bytes.size = static_cast<std::size_t>(std::min(actual, size));
  return noErr;
}

OSErr readFlag(const AppleEvent& event, AEKeyword key, bool& flag) {
  Boolean value = 0;
  const OSErr err = AEGetParamPtr(&event, key, typeBoolean, nullptr, &value, sizeof value, nullptr);
  if (err == errAEDescNotFound) {
    return noErr; // keeps the default
  }
  if (err == noErr) {
    flag = value != 0;
  }
  return err;
}

} // namespace

MessageRequest readMessageRequest(const AppleEvent& event) {
  MessageRequest request;
  request.error = readBytes(event, kQuellbarkMessageParam, request.bytes);
  if (request.error == noErr) {
    request.error = readFlag(event, kQuellbarkDecodedParam, request.form.decoded);
  }
  if (request.error == noErr) {
    request.error = readFlag(event, kQuellbarkRFC822Param, request.form.rfc822);
  }
  if (request.error == noErr) {
    ParameterBytes separator;
    const OSErr err = readBytes(event, kQuellbarkSeparatorParam, separator);
    request.error = err == errAEDescNotFound ? OSErr(noErr) : err;
    request.form.separator = separator.view();
  }
  return request;
}

} // namespace quellbark
