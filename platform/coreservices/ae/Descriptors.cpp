// Descriptor lifetime, raw data access and coercion.
#include "Access.h"
#include "Codec.h"
#include "Coercion.h"

#include <algorithm>
#include <cstring>

using namespace ae;

namespace ae {

Bytes dataBytes(View v) {
  if (v.kind() == Kind::Scalar)
    return Bytes(v.data(), v.data() + v.size());
  Bytes out(bodySize(v));
  writeBody(v, out.data());
  return out;
}

std::uint64_t dataSize(View v) {
  return v.kind() == Kind::Scalar ? v.size() : bodySize(v);
}

OSErr readInto(View v, DescType desired, DescType* actualType, void* dataPtr, Size maximumSize,
               Size* actualSize) {
  if (maximumSize < 0 || (maximumSize > 0 && !dataPtr))
    return paramErr;
  Value coerced;
  if (desired != typeWildCard && desired != v.type) {
    if (OSErr err = coerce(v, desired, CompositeRule::Strict, coerced))
      return err;
    v = view(coerced);
  }
  Bytes composite;
  const std::uint8_t* data = v.data();
  std::size_t size = v.size();
  if (v.kind() != Kind::Scalar) {
    composite = dataBytes(v);
    data = composite.data();
    size = composite.size();
  }
  std::size_t n = std::min(size, std::size_t(maximumSize));
  if (n)
    std::memcpy(dataPtr, data, n);
  if (actualType)
    *actualType = v.type;
  if (actualSize)
    *actualSize = Size(size);
  return noErr;
}

OSErr coerceInto(View v, DescType desired, AEDesc* result) {
  Value out;
  if (OSErr err = coerce(v, desired, CompositeRule::Strict, out))
    return err;
  *result = out.release();
  return noErr;
}

OSErr keyedItems(const AEDesc* d, const std::vector<Entry>*& items) {
  if (!d || d->descriptorType == typeNull)
    return errAENotAEDesc;
  if (!isKeyed(kindOf(d)))
    return errAEWrongDataType;
  items = &nodeOf(d)->items;
  return noErr;
}

OSErr keyedItems(AEDesc* d, std::vector<Entry>*& items) {
  const std::vector<Entry>* c = nullptr;
  OSErr err = keyedItems(static_cast<const AEDesc*>(d), c);
  items = const_cast<std::vector<Entry>*>(c);
  return err;
}

} // namespace ae

extern "C" {

void AEInitializeDesc(AEDesc* desc) {
  if (desc)
    *desc = nullDesc();
}

OSErr AECreateDesc(DescType typeCode, const void* dataPtr, Size dataSize, AEDesc* result) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  return guarded([&] {
    Value v;
    if (OSErr err = valueFromData(typeCode, dataPtr, dataSize, v))
      return err;
    *result = v.release();
    return OSErr(noErr);
  });
}

OSErr AEDisposeDesc(AEDesc* theAEDesc) {
  if (!theAEDesc)
    return paramErr;
  disposeDesc(theAEDesc);
  return noErr;
}

OSErr AEDuplicateDesc(const AEDesc* theAEDesc, AEDesc* result) {
  if (!theAEDesc || !result)
    return paramErr;
  return guarded([&] {
    Value copy = copyOf(theAEDesc);
    *result = copy.release();
    return OSErr(noErr);
  });
}

Size AEGetDescDataSize(const AEDesc* theAEDesc) {
  return theAEDesc ? Size(dataSize(view(theAEDesc))) : 0;
}

OSErr AEGetDescData(const AEDesc* theAEDesc, void* dataPtr, Size maximumSize) {
  if (!theAEDesc)
    return paramErr;
  return guarded([&] {
    return readInto(view(theAEDesc), typeWildCard, nullptr, dataPtr, maximumSize, nullptr);
  });
}

OSErr AEReplaceDescData(DescType typeCode, const void* dataPtr, Size dataSize, AEDesc* theAEDesc) {
  if (!theAEDesc)
    return paramErr;
  return guarded([&] {
    Value v;
    if (OSErr err = valueFromData(typeCode, dataPtr, dataSize, v))
      return err;
    disposeDesc(theAEDesc);
    *theAEDesc = v.release();
    return OSErr(noErr);
  });
}

Boolean AECheckIsRecord(const AEDesc* theDesc) {
  return theDesc && isKeyed(kindOf(theDesc));
}

OSErr AECoercePtr(DescType typeCode, const void* dataPtr, Size dataSize, DescType toType,
                  AEDesc* result) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  return guarded([&] {
    Value from;
    if (OSErr err = valueFromData(typeCode, dataPtr, dataSize, from))
      return err;
    Value out;
    if (OSErr err = coerce(view(from), toType, CompositeRule::Retypable, out))
      return err;
    *result = out.release();
    return OSErr(noErr);
  });
}

OSErr AECoerceDesc(const AEDesc* theAEDesc, DescType toType, AEDesc* result) {
  if (!theAEDesc || !result)
    return paramErr;
  return guarded([&] {
    Value out;
    OSErr err = coerce(view(theAEDesc), toType, CompositeRule::Retypable, out);
    *result = err ? nullDesc() : out.release();
    return err;
  });
}

} // extern "C"
