#include "CFRuntime.h"

#include <unordered_map>
#include <vector>

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0,
                                                                cf::retainCallBack,
                                                                cf::releaseCallBack,
                                                                cf::copyDescriptionCallBack,
                                                                cf::equalCallBack,
                                                                cf::hashCallBack};

namespace {
const void* copyStringKey(CFAllocatorRef allocator, const void* value) {
  if (CFGetTypeID(value) == CFStringGetTypeID()) {
    return CFStringCreateCopy(allocator, static_cast<CFStringRef>(value));
  }
  return CFRetain(value);
}
} // namespace

const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {0,
                                                                      copyStringKey,
                                                                      cf::releaseCallBack,
                                                                      cf::copyDescriptionCallBack,
                                                                      cf::equalCallBack,
                                                                      cf::hashCallBack};

const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, cf::retainCallBack, cf::releaseCallBack, cf::copyDescriptionCallBack, cf::equalCallBack};

struct __CFDictionary final : cf::Object {
  struct Hash {
    const CFDictionaryKeyCallBacks* callBacks;
    size_t operator()(const void* key) const {
      return callBacks->hash ? callBacks->hash(key) : reinterpret_cast<size_t>(key);
    }
  };
  struct Equal {
    const CFDictionaryKeyCallBacks* callBacks;
    bool operator()(const void* a, const void* b) const {
      return a == b || (callBacks->equal != nullptr && callBacks->equal(a, b));
    }
  };

  __CFDictionary(CFAllocatorRef allocator, bool mutableDictionary,
                 const CFDictionaryKeyCallBacks* keys, const CFDictionaryValueCallBacks* values)
      : Object(cf::kDictionaryTypeID, allocator), isMutable(mutableDictionary),
        keyCallBacks(keys ? *keys : CFDictionaryKeyCallBacks{}),
        valueCallBacks(values ? *values : CFDictionaryValueCallBacks{}),
        map(0, Hash{&keyCallBacks}, Equal{&keyCallBacks}) {}

  ~__CFDictionary() override { removeAll(); }

  const void* retainKey(const void* key) const {
    return keyCallBacks.retain ? keyCallBacks.retain(allocator(), key) : key;
  }
  const void* retainValue(const void* value) const {
    return valueCallBacks.retain ? valueCallBacks.retain(allocator(), value) : value;
  }
  void releaseKey(const void* key) const {
    if (keyCallBacks.release) {
      keyCallBacks.release(allocator(), key);
    }
  }
  void releaseValue(const void* value) const {
    if (valueCallBacks.release) {
      valueCallBacks.release(allocator(), value);
    }
  }

  // add: only when absent; replace: only when present.
  void put(const void* key, const void* value, bool add, bool replace) {
    auto found = map.find(key);
    if (found == map.end()) {
      if (add) {
        map.emplace(retainKey(key), retainValue(value));
      }
      return;
    }
    if (replace) {
      const void* old = found->second;
      found->second = retainValue(value);
      releaseValue(old);
    }
  }

  void remove(const void* key) {
    auto found = map.find(key);
    if (found != map.end()) {
      const void* k = found->first;
      const void* v = found->second;
      map.erase(found);
      releaseValue(v);
      releaseKey(k);
    }
  }

  void removeAll() {
    auto entries = std::move(map);
    map.clear();
    for (auto& [k, v] : entries) {
      releaseValue(v);
      releaseKey(k);
    }
  }

  bool equals(const cf::Object& other) const override {
    const auto& that = static_cast<const __CFDictionary&>(other);
    if (map.size() != that.map.size()) {
      return false;
    }
    for (const auto& [k, v] : map) {
      auto found = that.map.find(k);
      if (found == that.map.end()) {
        return false;
      }
      bool same = found->second == v ||
                  (valueCallBacks.equal != nullptr && valueCallBacks.equal(v, found->second));
      if (!same) {
        return false;
      }
    }
    return true;
  }

  CFHashCode hash() const override { return map.size(); }

  CFStringRef copyDescription() const override {
    std::string text = cf::descriptionPrefix("CFDictionary", this) +
                       "{type = " + (isMutable ? "mutable" : "immutable") +
                       ", count = " + std::to_string(map.size()) + ", pairs = (\n";
    size_t index = 0;
    for (const auto& [k, v] : map) {
      text += "\t" + std::to_string(index++) + " : " +
              cf::elementDescription(k, keyCallBacks.copyDescription) + " = " +
              cf::elementDescription(v, valueCallBacks.copyDescription) + "\n";
    }
    text += ")}";
    return cf::makeString(text);
  }

  bool isMutable;
  CFDictionaryKeyCallBacks keyCallBacks;
  CFDictionaryValueCallBacks valueCallBacks;
  std::unordered_map<const void*, const void*, Hash, Equal> map;
};

CFTypeID CFDictionaryGetTypeID(void) {
  return cf::kDictionaryTypeID;
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
  return new __CFDictionary(allocator, true, keyCallBacks, valueCallBacks);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex,
                                                     CFDictionaryRef theDict) {
  auto* dict =
      new __CFDictionary(allocator, true, &theDict->keyCallBacks, &theDict->valueCallBacks);
  for (const auto& [k, v] : theDict->map) {
    dict->put(k, v, true, true);
  }
  return dict;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
  return static_cast<CFIndex>(theDict->map.size());
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
  auto found = theDict->map.find(key);
  return found == theDict->map.end() ? nullptr : found->second;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key,
                                      const void** value) {
  auto found = theDict->map.find(key);
  if (found == theDict->map.end()) {
    return false;
  }
  if (value != nullptr) {
    *value = found->second;
  }
  return true;
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier,
                               void* context) {
  std::vector<std::pair<const void*, const void*>> entries(theDict->map.begin(),
                                                           theDict->map.end());
  for (const auto& [k, v] : entries) {
    applier(k, v, context);
  }
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  if (theDict->isMutable) {
    theDict->put(key, value, true, false);
  }
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  if (theDict->isMutable) {
    theDict->put(key, value, true, true);
  }
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key) {
  if (theDict->isMutable) {
    theDict->remove(key);
  }
}
