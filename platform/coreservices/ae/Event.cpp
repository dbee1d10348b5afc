#include "Event.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <unistd.h>

namespace ae {

bool isRequiredAttribute(AEKeyword key) {
  return std::find(std::begin(kRequiredAttributes), std::end(kRequiredAttributes), key) !=
         std::end(kRequiredAttributes);
}

DescType requiredAttributeType(AEKeyword key) {
  switch (key) {
  case keyEventClassAttr:
  case keyEventIDAttr:
    return typeType;
  case keyReturnIDAttr:
    return typeSInt16;
  case keyTransactionIDAttr:
    return typeSInt32;
  default:
    return 0;
  }
}

AEReturnID nextReturnID() {
  // Positive IDs, starting at a per-process point so two processes rarely hand out the same.
  static std::atomic<unsigned> counter{unsigned(getpid()) * 7919u};
  unsigned n = counter.fetch_add(1, std::memory_order_relaxed);
  return AEReturnID(1 + n % 32767);
}

Value newEvent(AEEventClass cls, AEEventID id, Value address, AEReturnID returnID,
               AETransactionID transactionID) {
  if (returnID == kAutoGenerateReturnID)
    returnID = nextReturnID();
  Value ev = makeComposite(typeAppleEvent, Kind::Event);
  auto& attrs = ev.node->attrs;
  attrs.push_back({keyEventClassAttr, makeScalar(typeType, &cls, 4)});
  attrs.push_back({keyEventIDAttr, makeScalar(typeType, &id, 4)});
  attrs.push_back({keyAddressAttr, std::move(address)});
  attrs.push_back({keyReturnIDAttr, makeScalar(typeSInt16, &returnID, 2)});
  attrs.push_back({keyTransactionIDAttr, makeScalar(typeSInt32, &transactionID, 4)});
  return ev;
}

bool hasValidRequiredAttributes(const Node& event) {
  for (AEKeyword key : kRequiredAttributes) {
    const Entry* e = findEntry(event.attrs, key);
    if (!e)
      return false;
    DescType type = requiredAttributeType(key);
    if (type == 0)
      continue;
    View v = view(e->value);
    std::size_t want = type == typeSInt16 ? 2 : 4;
    if (v.type != type || v.kind() != Kind::Scalar || v.size() != want)
      return false;
  }
  return true;
}

void orderAttributes(Node& event) {
  auto rank = [](const Entry& e) {
    auto it = std::find(std::begin(kRequiredAttributes), std::end(kRequiredAttributes), e.key);
    return it - std::begin(kRequiredAttributes);
  };
  std::stable_sort(event.attrs.begin(), event.attrs.end(),
                   [&](const Entry& a, const Entry& b) { return rank(a) < rank(b); });
}

std::uint32_t attributeCode(const Node& event, AEKeyword key) {
  const Entry* e = findEntry(event.attrs, key);
  if (!e)
    return 0;
  View v = view(e->value);
  if (v.size() == 4) {
    std::uint32_t code;
    std::memcpy(&code, v.data(), 4);
    return code;
  }
  if (v.size() == 2) {
    std::int16_t s;
    std::memcpy(&s, v.data(), 2);
    return std::uint32_t(std::int32_t(s));
  }
  return 0;
}

} // namespace ae
