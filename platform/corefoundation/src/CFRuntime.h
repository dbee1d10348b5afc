// The object model behind every CF reference: a polymorphic base with an atomic retain count.
// Each CF type is a struct named as CF names it (__CFString, __CFData, ...) deriving from
// cf::Object, so a CFStringRef points straight at its object.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <string>
#include <string_view>

namespace cf {

enum TypeID : CFTypeID {
  kAllocatorTypeID = 1,
  kNullTypeID,
  kStringTypeID,
  kDataTypeID,
  kDictionaryTypeID,
  kArrayTypeID,
  kNumberTypeID,
  kBooleanTypeID,
  kDateTypeID,
  kURLTypeID,
  kTypeIDCount
};

class Object {
public:
  // Objects made at run time start with one reference; immortal ones (constant strings,
  // booleans, allocators) ignore retain and release.
  Object(CFTypeID type, CFAllocatorRef allocator);
  struct Immortal {};
  Object(CFTypeID type, Immortal);
  virtual ~Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  CFTypeID typeID() const { return mType; }
  CFAllocatorRef allocator() const { return mAllocator; }
  bool immortal() const { return mImmortal; }

  void retain() const;
  // Returns true when this was the last reference and the object is gone.
  bool release() const;
  CFIndex retainCount() const;

  // Called only with another object of the same type.
  virtual bool equals(const Object& other) const { return this == &other; }
  virtual CFHashCode hash() const { return reinterpret_cast<CFHashCode>(this); }
  // CFCopyDescription's text.
  virtual CFStringRef copyDescription() const = 0;
  // What "%@" and CFShow print when the type has its own text (strings, numbers); NULL
  // otherwise, and the description is used.
  virtual CFStringRef copyFormattingDescription() const { return nullptr; }

private:
  CFTypeID mType;
  CFAllocatorRef mAllocator;
  mutable std::atomic<long> mRefs;
  bool mImmortal;
};

inline const Object* object(CFTypeRef cf) {
  return static_cast<const Object*>(cf);
}

// kCFAllocatorDefault (NULL) stands for the system default allocator object.
CFAllocatorRef resolveAllocator(CFAllocatorRef allocator);

// A pointer as "%p" prints it on the original platform: "0x" and lowercase hex, "0x0" for NULL.
std::string pointerText(const void* pointer);

// "<CFData 0x... [0x...]>" — the opening of every debug description.
std::string descriptionPrefix(const char* typeName, const Object* object);

// A new immutable string from UTF-8 text (bytes that are not UTF-8 are taken as Latin-1).
CFStringRef makeString(std::string_view utf8);

// The string's characters as UTF-8.
std::string toUTF8(CFStringRef string);

} // namespace cf

// The callbacks behind kCFTypeDictionaryKeyCallBacks, kCFTypeArrayCallBacks and friends.
namespace cf {
const void* retainCallBack(CFAllocatorRef allocator, const void* value);
void releaseCallBack(CFAllocatorRef allocator, const void* value);
CFStringRef copyDescriptionCallBack(const void* value);
Boolean equalCallBack(const void* value1, const void* value2);
CFHashCode hashCallBack(const void* value);
// "<0x...>" for an element that has no description callback.
std::string elementDescription(const void* value, CFStringRef (*copyDescription)(const void*));
} // namespace cf
