// Apple Events and their attributes.
#include "AEPrivate.h"
#include "Access.h"
#include "Codec.h"
#include "Coercion.h"
#include "Event.h"

#include <CoreServices/AE/AppleEvents.h>

using namespace ae;

namespace {

OSErr eventNode(const AEDesc* d, Node*& node) {
  if (!d || kindOf(d) != Kind::Event)
    return errAENotAppleEvent;
  node = nodeOf(d);
  return noErr;
}

// Required attributes keep their type (the address excepted); others are stored as given.
OSErr putAttribute(AppleEvent* ev, AEKeyword key, Value v) {
  Node* node = nullptr;
  if (OSErr err = eventNode(ev, node))
    return err;
  if (DescType type = requiredAttributeType(key); type != 0 && v.type != type) {
    Value coerced;
    if (OSErr err = coerce(view(v), type, CompositeRule::Strict, coerced))
      return err;
    v = std::move(coerced);
  }
  if (isRequiredAttribute(key) && key != keyAddressAttr) {
    std::size_t want = key == keyReturnIDAttr ? 2 : 4;
    if (view(v).size() != want)
      return errAEWrongDataType;
  }
  putEntry(node->attrs, key, std::move(v));
  return noErr;
}

OSErr findAttribute(const AppleEvent* ev, AEKeyword key, const Entry*& entry) {
  Node* node = nullptr;
  if (OSErr err = eventNode(ev, node))
    return err;
  entry = findEntry(node->attrs, key);
  return entry ? OSErr(noErr) : OSErr(errAEDescNotFound);
}

} // namespace

extern "C" {

OSErr AECreateAppleEvent(AEEventClass theAEEventClass, AEEventID theAEEventID,
                         const AEAddressDesc* target, AEReturnID returnID,
                         AETransactionID transactionID, AppleEvent* result) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  return guarded([&] {
    Value address = target ? copyOf(target) : Value();
    *result = newEvent(theAEEventClass, theAEEventID, std::move(address), returnID, transactionID)
                  .release();
    return OSErr(noErr);
  });
}

OSErr AEPutAttributePtr(AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType typeCode,
                        const void* dataPtr, Size dataSize) {
  return guarded([&] {
    Value v;
    if (OSErr err = valueFromData(typeCode, dataPtr, dataSize, v))
      return err;
    return putAttribute(theAppleEvent, theAEKeyword, std::move(v));
  });
}

OSErr AEPutAttributeDesc(AppleEvent* theAppleEvent, AEKeyword theAEKeyword,
                         const AEDesc* theAEDesc) {
  if (!theAEDesc)
    return paramErr;
  return guarded([&] { return putAttribute(theAppleEvent, theAEKeyword, copyOf(theAEDesc)); });
}

OSErr AEGetAttributePtr(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword,
                        DescType desiredType, DescType* typeCode, void* dataPtr, Size maximumSize,
                        Size* actualSize) {
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = findAttribute(theAppleEvent, theAEKeyword, e))
      return err;
    return readInto(view(e->value), desiredType, typeCode, dataPtr, maximumSize, actualSize);
  });
}

OSErr AEGetAttributeDesc(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword,
                         DescType desiredType, AEDesc* result) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = findAttribute(theAppleEvent, theAEKeyword, e))
      return err;
    return coerceInto(view(e->value), desiredType, result);
  });
}

OSErr AESizeOfAttribute(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType* typeCode,
                        Size* dataSize) {
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = findAttribute(theAppleEvent, theAEKeyword, e))
      return err;
    if (typeCode)
      *typeCode = e->value.type;
    if (dataSize)
      *dataSize = Size(ae::dataSize(view(e->value)));
    return OSErr(noErr);
  });
}

OSErr AECreateReplyEvent(const AppleEvent* event, AppleEvent* reply) {
  if (!reply)
    return paramErr;
  *reply = nullDesc();
  Node* node = nullptr;
  if (OSErr err = eventNode(event, node))
    return err;
  return guarded([&] {
    auto returnID = AEReturnID(attributeCode(*node, keyReturnIDAttr));
    auto transactionID = AETransactionID(attributeCode(*node, keyTransactionIDAttr));
    Value answer = newEvent(kCoreEventClass, kAEAnswer, Value(), returnID, transactionID);
    // The reply keeps the event's ID as it is, even one a peer left unassigned.
    putEntry(answer.node->attrs, keyReturnIDAttr, makeScalar(typeSInt16, &returnID, 2));
    *reply = answer.release();
    return OSErr(noErr);
  });
}

} // extern "C"
