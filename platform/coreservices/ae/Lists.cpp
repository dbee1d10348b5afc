// Lists (indexed) and records or event parameters (keyed).
#include "Access.h"
#include "Codec.h"

using namespace ae;

namespace {

OSErr indexedItems(const AEDesc* d, const std::vector<Entry>*& items) {
  if (!d || d->descriptorType == typeNull)
    return errAENotAEDesc;
  if (!isComposite(kindOf(d)))
    return errAEWrongDataType;
  items = &nodeOf(d)->items;
  return noErr;
}

OSErr nthEntry(const AEDesc* list, long index, const Entry*& entry) {
  const std::vector<Entry>* items = nullptr;
  if (OSErr err = indexedItems(list, items))
    return err;
  if (index < 1 || std::size_t(index) > items->size())
    return errAEIllegalIndex;
  entry = &(*items)[std::size_t(index - 1)];
  return noErr;
}

// Only plain lists take items by index; records and events need a keyword.
OSErr putNth(AEDescList* list, long index, Value v) {
  if (!list || list->descriptorType == typeNull)
    return errAENotAEDesc;
  if (kindOf(list) != Kind::List)
    return errAEWrongDataType;
  auto& items = nodeOf(list)->items;
  if (index < 0 || std::size_t(index) > items.size() + 1)
    return errAEIllegalIndex;
  if (index == 0 || std::size_t(index) == items.size() + 1)
    items.push_back({typeWildCard, std::move(v)});
  else
    items[std::size_t(index - 1)].value = std::move(v);
  return noErr;
}

OSErr findParam(const AppleEvent* ev, AEKeyword key, const Entry*& entry) {
  const std::vector<Entry>* items = nullptr;
  if (OSErr err = keyedItems(ev, items))
    return err;
  entry = findEntry(*items, key);
  return entry ? OSErr(noErr) : OSErr(errAEDescNotFound);
}

} // namespace

extern "C" {

OSErr AECreateList(const void* factoringPtr, Size factoredSize, Boolean isRecord,
                   AEDescList* resultList) {
  // Factoring only saves space for items with a common prefix; items are stored whole here.
  (void)factoringPtr;
  if (!resultList || factoredSize < 0)
    return paramErr;
  *resultList = nullDesc();
  return guarded([&] {
    *resultList =
        makeComposite(isRecord ? typeAERecord : typeAEList, isRecord ? Kind::Record : Kind::List)
            .release();
    return OSErr(noErr);
  });
}

OSErr AECountItems(const AEDescList* theAEDescList, long* theCount) {
  const std::vector<Entry>* items = nullptr;
  if (OSErr err = indexedItems(theAEDescList, items))
    return err;
  if (theCount)
    *theCount = long(items->size());
  return noErr;
}

OSErr AEPutPtr(AEDescList* theAEDescList, long index, DescType typeCode, const void* dataPtr,
               Size dataSize) {
  return guarded([&] {
    Value v;
    if (OSErr err = valueFromData(typeCode, dataPtr, dataSize, v))
      return err;
    return putNth(theAEDescList, index, std::move(v));
  });
}

OSErr AEPutDesc(AEDescList* theAEDescList, long index, const AEDesc* theAEDesc) {
  if (!theAEDesc)
    return paramErr;
  return guarded([&] { return putNth(theAEDescList, index, copyOf(theAEDesc)); });
}

OSErr AEGetNthPtr(const AEDescList* theAEDescList, long index, DescType desiredType,
                  AEKeyword* theAEKeyword, DescType* typeCode, void* dataPtr, Size maximumSize,
                  Size* actualSize) {
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = nthEntry(theAEDescList, index, e))
      return err;
    if (OSErr err =
            readInto(view(e->value), desiredType, typeCode, dataPtr, maximumSize, actualSize))
      return err;
    if (theAEKeyword)
      *theAEKeyword = e->key;
    return OSErr(noErr);
  });
}

OSErr AEGetNthDesc(const AEDescList* theAEDescList, long index, DescType desiredType,
                   AEKeyword* theAEKeyword, AEDesc* result) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = nthEntry(theAEDescList, index, e))
      return err;
    if (OSErr err = coerceInto(view(e->value), desiredType, result))
      return err;
    if (theAEKeyword)
      *theAEKeyword = e->key;
    return OSErr(noErr);
  });
}

OSErr AESizeOfNthItem(const AEDescList* theAEDescList, long index, DescType* typeCode,
                      Size* dataSize) {
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = nthEntry(theAEDescList, index, e))
      return err;
    if (typeCode)
      *typeCode = e->value.type;
    if (dataSize)
      *dataSize = Size(ae::dataSize(view(e->value)));
    return OSErr(noErr);
  });
}

OSErr AEDeleteItem(AEDescList* theAEDescList, long index) {
  const Entry* e = nullptr;
  if (OSErr err = nthEntry(theAEDescList, index, e))
    return err;
  auto& items = nodeOf(theAEDescList)->items;
  items.erase(items.begin() + (index - 1));
  return noErr;
}

OSErr AEPutParamPtr(AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType typeCode,
                    const void* dataPtr, Size dataSize) {
  return guarded([&] {
    std::vector<Entry>* items = nullptr;
    if (OSErr err = keyedItems(theAppleEvent, items))
      return err;
    Value v;
    if (OSErr err = valueFromData(typeCode, dataPtr, dataSize, v))
      return err;
    putEntry(*items, theAEKeyword, std::move(v));
    return OSErr(noErr);
  });
}

OSErr AEPutParamDesc(AppleEvent* theAppleEvent, AEKeyword theAEKeyword, const AEDesc* theAEDesc) {
  if (!theAEDesc)
    return paramErr;
  return guarded([&] {
    std::vector<Entry>* items = nullptr;
    if (OSErr err = keyedItems(theAppleEvent, items))
      return err;
    // Copy first: the descriptor may be one of this record's own fields.
    Value v = copyOf(theAEDesc);
    putEntry(*items, theAEKeyword, std::move(v));
    return OSErr(noErr);
  });
}

OSErr AEGetParamPtr(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType desiredType,
                    DescType* actualType, void* dataPtr, Size maximumSize, Size* actualSize) {
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = findParam(theAppleEvent, theAEKeyword, e))
      return err;
    return readInto(view(e->value), desiredType, actualType, dataPtr, maximumSize, actualSize);
  });
}

OSErr AEGetParamDesc(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType desiredType,
                     AEDesc* result) {
  if (!result)
    return paramErr;
  *result = nullDesc();
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = findParam(theAppleEvent, theAEKeyword, e))
      return err;
    return coerceInto(view(e->value), desiredType, result);
  });
}

OSErr AESizeOfParam(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType* typeCode,
                    Size* dataSize) {
  return guarded([&] {
    const Entry* e = nullptr;
    if (OSErr err = findParam(theAppleEvent, theAEKeyword, e))
      return err;
    if (typeCode)
      *typeCode = e->value.type;
    if (dataSize)
      *dataSize = Size(ae::dataSize(view(e->value)));
    return OSErr(noErr);
  });
}

OSErr AEDeleteParam(AppleEvent* theAppleEvent, AEKeyword theAEKeyword) {
  std::vector<Entry>* items = nullptr;
  if (OSErr err = keyedItems(theAppleEvent, items))
    return err;
  for (auto it = items->begin(); it != items->end(); ++it)
    if (it->key == theAEKeyword) {
      items->erase(it);
      return noErr;
    }
  return errAEDescNotFound;
}

} // extern "C"
