#include "CFRuntime.h"

#include <vector>

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, cf::retainCallBack, cf::releaseCallBack,
                                                cf::copyDescriptionCallBack, cf::equalCallBack};

struct __CFArray final : cf::Object {
  __CFArray(CFAllocatorRef allocator, bool mutableArray, const CFArrayCallBacks* arrayCallBacks)
      : Object(cf::kArrayTypeID, allocator), isMutable(mutableArray),
        callBacks(arrayCallBacks ? *arrayCallBacks : CFArrayCallBacks{}) {}
  ~__CFArray() override {
    for (const void* value : values) {
      release(value);
    }
  }

  const void* retain(const void* value) const {
    return callBacks.retain ? callBacks.retain(allocator(), value) : value;
  }
  void release(const void* value) const {
    if (callBacks.release) {
      callBacks.release(allocator(), value);
    }
  }
  bool same(const void* a, const void* b) const {
    return a == b || (callBacks.equal != nullptr && callBacks.equal(a, b));
  }

  bool equals(const cf::Object& other) const override {
    const auto& that = static_cast<const __CFArray&>(other);
    if (values.size() != that.values.size()) {
      return false;
    }
    for (size_t i = 0; i < values.size(); ++i) {
      if (!same(values[i], that.values[i])) {
        return false;
      }
    }
    return true;
  }

  CFHashCode hash() const override { return values.size(); }

  CFStringRef copyDescription() const override {
    std::string text = cf::descriptionPrefix("CFArray", this) +
                       "{type = " + (isMutable ? "mutable-small" : "immutable") +
                       ", count = " + std::to_string(values.size()) + ", values = (\n";
    for (size_t i = 0; i < values.size(); ++i) {
      text += "\t" + std::to_string(i) + " : " +
              cf::elementDescription(values[i], callBacks.copyDescription) + "\n";
    }
    text += ")}";
    return cf::makeString(text);
  }

  bool isMutable;
  CFArrayCallBacks callBacks;
  std::vector<const void*> values;
};

namespace {
bool validRange(CFArrayRef array, CFRange range) {
  return range.location >= 0 && range.length >= 0 &&
         static_cast<size_t>(range.location + range.length) <= array->values.size();
}
} // namespace

CFTypeID CFArrayGetTypeID(void) {
  return cf::kArrayTypeID;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex,
                                       const CFArrayCallBacks* callBacks) {
  return new __CFArray(allocator, true, callBacks);
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
  return static_cast<CFIndex>(theArray->values.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
  if (idx < 0 || static_cast<size_t>(idx) >= theArray->values.size()) {
    return nullptr;
  }
  return theArray->values[static_cast<size_t>(idx)];
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
  if (validRange(theArray, range)) {
    for (CFIndex i = range.location; i < range.location + range.length; ++i) {
      if (theArray->same(theArray->values[static_cast<size_t>(i)], value)) {
        return i;
      }
    }
  }
  return kCFNotFound;
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
  if (theArray->isMutable) {
    theArray->values.push_back(theArray->retain(value));
  }
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
  if (theArray->isMutable && idx >= 0 && static_cast<size_t>(idx) <= theArray->values.size()) {
    theArray->values.insert(theArray->values.begin() + idx, theArray->retain(value));
  }
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx) {
  if (theArray->isMutable && idx >= 0 && static_cast<size_t>(idx) < theArray->values.size()) {
    const void* old = theArray->values[static_cast<size_t>(idx)];
    theArray->values.erase(theArray->values.begin() + idx);
    theArray->release(old);
  }
}
