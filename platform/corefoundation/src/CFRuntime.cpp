#include "CFRuntime.h"

#include <climits>
#include <cstdio>

namespace cf {

Object::Object(CFTypeID type, CFAllocatorRef allocator)
    : mType(type), mAllocator(resolveAllocator(allocator)), mRefs(1), mImmortal(false) {}

Object::Object(CFTypeID type, Immortal)
    : mType(type), mAllocator(resolveAllocator(nullptr)), mRefs(1), mImmortal(true) {}

void Object::retain() const {
  if (!mImmortal) {
    mRefs.fetch_add(1, std::memory_order_relaxed);
  }
}

bool Object::release() const {
  if (mImmortal) {
    return false;
  }
  if (mRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete this;
    return true;
  }
  return false;
}

CFIndex Object::retainCount() const {
  return mImmortal ? LONG_MAX : mRefs.load(std::memory_order_relaxed);
}

std::string pointerText(const void* pointer) {
  char text[2 + 2 * sizeof(void*) + 1];
  std::snprintf(text, sizeof text, "0x%lx", reinterpret_cast<unsigned long>(pointer));
  return text;
}

std::string descriptionPrefix(const char* typeName, const Object* object) {
  return std::string("<") + typeName + " " + pointerText(object) + " [" +
         pointerText(object->allocator()) + "]>";
}

} // namespace cf

// Allocators only identify themselves: all memory comes from the C++ runtime.
struct __CFAllocator final : cf::Object {
  explicit __CFAllocator(const char* allocatorName)
      : Object(cf::kAllocatorTypeID, Immortal{}), name(allocatorName) {}
  CFStringRef copyDescription() const override {
    return cf::makeString("<CFAllocator " + cf::pointerText(this) + ">{" + name + "}");
  }
  const char* name;
};

struct __CFNull final : cf::Object {
  __CFNull() : Object(cf::kNullTypeID, Immortal{}) {}
  CFStringRef copyDescription() const override {
    return cf::makeString("<CFNull " + cf::pointerText(this) + ">");
  }
};

namespace {
const __CFAllocator systemDefaultAllocator("default");
const __CFAllocator mallocAllocator("malloc");
const __CFAllocator nullAllocator("null");
const __CFNull nullObject;
} // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = &systemDefaultAllocator;
const CFAllocatorRef kCFAllocatorMalloc = &mallocAllocator;
const CFAllocatorRef kCFAllocatorNull = &nullAllocator;
const CFNullRef kCFNull = &nullObject;

CFAllocatorRef cf::resolveAllocator(CFAllocatorRef allocator) {
  return allocator != nullptr ? allocator : kCFAllocatorSystemDefault;
}

CFTypeID CFAllocatorGetTypeID(void) {
  return cf::kAllocatorTypeID;
}
CFTypeID CFNullGetTypeID(void) {
  return cf::kNullTypeID;
}

CFTypeRef CFRetain(CFTypeRef cf) {
  if (cf != nullptr) {
    cf::object(cf)->retain();
  }
  return cf;
}

void CFRelease(CFTypeRef cf) {
  if (cf != nullptr) {
    cf::object(cf)->release();
  }
}

CFIndex CFGetRetainCount(CFTypeRef cf) {
  return cf ? cf::object(cf)->retainCount() : 0;
}

CFTypeID CFGetTypeID(CFTypeRef cf) {
  return cf ? cf::object(cf)->typeID() : 0;
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
  if (cf1 == cf2) {
    return true;
  }
  if (cf1 == nullptr || cf2 == nullptr) {
    return false;
  }
  const cf::Object* a = cf::object(cf1);
  const cf::Object* b = cf::object(cf2);
  return a->typeID() == b->typeID() && a->equals(*b);
}

CFHashCode CFHash(CFTypeRef cf) {
  return cf ? cf::object(cf)->hash() : 0;
}

CFStringRef CFCopyDescription(CFTypeRef cf) {
  return cf ? cf::object(cf)->copyDescription() : nullptr;
}

CFAllocatorRef CFGetAllocator(CFTypeRef cf) {
  return cf ? cf::object(cf)->allocator() : kCFAllocatorSystemDefault;
}

const void* cf::retainCallBack(CFAllocatorRef, const void* value) {
  return CFRetain(value);
}
void cf::releaseCallBack(CFAllocatorRef, const void* value) {
  CFRelease(value);
}
CFStringRef cf::copyDescriptionCallBack(const void* value) {
  return CFCopyDescription(value);
}
Boolean cf::equalCallBack(const void* value1, const void* value2) {
  return CFEqual(value1, value2);
}
CFHashCode cf::hashCallBack(const void* value) {
  return CFHash(value);
}

std::string cf::elementDescription(const void* value, CFStringRef (*copyDescription)(const void*)) {
  if (copyDescription != nullptr) {
    if (CFStringRef text = copyDescription(value)) {
      std::string utf8 = toUTF8(text);
      CFRelease(text);
      return utf8;
    }
  }
  return "<" + pointerText(value) + ">";
}
