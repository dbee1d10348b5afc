#include "EventRecord.h"
#include "Hex.h"

#include <glib.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <vector>

namespace scripted {
namespace {

using Json = nlohmann::json;

std::uint32_t loadBigEndian32(const unsigned char* p) {
  return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}

struct Entry {
  AEKeyword key;
  DescType type;
};

// The keys and types of the attributes and the parameters, from the flattened event: the only
// way to learn every attribute an event carries, including ones this tool does not know. The
// layout is the Apple Event Manager's (docs/flattened-descriptors.md): a 16-byte header, then
// the format version, the attribute count, the parameter count, and keyed entries
// (key, type, size, data padded to an even length).
bool listEntries(const AppleEvent& event, std::vector<Entry>& attributes,
                 std::vector<Entry>& parameters) {
  Size size = AESizeOfFlattenedDesc(&event);
  std::vector<unsigned char> flat(static_cast<std::size_t>(size));
  Size written = 0;
  if (size < 28 || AEFlattenDesc(&event, reinterpret_cast<Ptr>(flat.data()), size, &written) ||
      written != size)
    return false;
  const unsigned char* p = flat.data() + 16;
  const unsigned char* end = flat.data() + flat.size();
  std::uint32_t counts[2] = {loadBigEndian32(p + 4), loadBigEndian32(p + 8)};
  p += 12;
  std::vector<Entry>* lists[2] = {&attributes, &parameters};
  for (int list = 0; list < 2; ++list) {
    for (std::uint32_t i = 0; i < counts[list]; ++i) {
      if (end - p < 12)
        return false;
      std::uint32_t dataSize = loadBigEndian32(p + 8);
      lists[list]->push_back({loadBigEndian32(p), loadBigEndian32(p + 4)});
      std::uint64_t step = 12 + std::uint64_t(dataSize) + (dataSize & 1);
      if (std::uint64_t(end - p) < step)
        return false;
      p += step;
    }
  }
  return true;
}

std::string sha256Of(const std::vector<unsigned char>& bytes) {
  gchar* digest = g_compute_checksum_for_data(G_CHECKSUM_SHA256, bytes.data(), bytes.size());
  std::string text = digest;
  g_free(digest);
  return text;
}

Json describeEntries(const AppleEvent& event, const std::vector<Entry>& entries, bool attributes,
                     std::size_t hexLimit) {
  Json described = Json::array();
  for (const Entry& entry : entries) {
    AEDesc value;
    AEInitializeDesc(&value);
    OSErr err = attributes ? AEGetAttributeDesc(&event, entry.key, typeWildCard, &value)
                           : AEGetParamDesc(&event, entry.key, typeWildCard, &value);
    std::vector<unsigned char> bytes;
    if (err == noErr) {
      bytes.resize(static_cast<std::size_t>(AEGetDescDataSize(&value)));
      AEGetDescData(&value, bytes.data(), static_cast<Size>(bytes.size()));
    }
    Json item = {{"key", fourCharCodeText(entry.key)},
                 {"type", fourCharCodeText(value.descriptorType)},
                 {"length", bytes.size()}};
    if (bytes.size() > hexLimit)
      item["sha256"] = sha256Of(bytes);
    else
      item["hex"] = testsupport::hexOf(bytes);
    described.push_back(std::move(item));
    AEDisposeDesc(&value);
  }
  return described;
}

FourCharCode codeAttribute(const AppleEvent& event, AEKeyword key) {
  FourCharCode code = 0;
  AEGetAttributePtr(&event, key, typeType, nullptr, &code, sizeof code, nullptr);
  return code;
}

} // namespace

std::string fourCharCodeText(FourCharCode code) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i)
    text[i] = static_cast<char>((code >> (24 - 8 * i)) & 0xFF);
  return text;
}

std::string describeEvent(const AppleEvent& event, std::size_t hexLimit) {
  Json line = {{"class", fourCharCodeText(codeAttribute(event, keyEventClassAttr))},
               {"id", fourCharCodeText(codeAttribute(event, keyEventIDAttr))}};
  std::vector<Entry> attributes, parameters;
  if (listEntries(event, attributes, parameters)) {
    line["attributes"] = describeEntries(event, attributes, true, hexLimit);
    line["parameters"] = describeEntries(event, parameters, false, hexLimit);
  } else {
    line["error"] = "the event could not be flattened";
  }
  return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace scripted
