// Numbers keep an integer (SInt64) or a float (Float64) and the canonical type they were made
// with; CFNumberGetValue converts and reports whether the conversion was exact.
#include "CFRuntime.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

struct __CFNumber final : cf::Object {
  __CFNumber(CFAllocatorRef allocator, CFNumberType numberType)
      : Object(cf::kNumberTypeID, allocator), type(numberType) {}

  bool isFloat() const { return type == kCFNumberFloat32Type || type == kCFNumberFloat64Type; }
  double asDouble() const { return isFloat() ? real : static_cast<double>(integer); }

  bool equals(const cf::Object& other) const override {
    const auto& that = static_cast<const __CFNumber&>(other);
    if (!isFloat() && !that.isFloat()) {
      return integer == that.integer;
    }
    return asDouble() == that.asDouble();
  }

  CFHashCode hash() const override {
    // Equal values hash alike whatever their type: integral floats hash as integers.
    if (!isFloat()) {
      return static_cast<CFHashCode>(integer);
    }
    if (std::isfinite(real) && std::trunc(real) == real && std::fabs(real) < 9.2e18) {
      return static_cast<CFHashCode>(static_cast<SInt64>(real));
    }
    CFHashCode bits;
    std::memcpy(&bits, &real, sizeof bits);
    return bits;
  }

  std::string valueText(bool withSign) const {
    char text[64];
    if (isFloat()) {
      std::snprintf(text, sizeof text, withSign ? "%+.*g" : "%.*g",
                    type == kCFNumberFloat32Type ? 9 : 17, real);
    } else {
      std::snprintf(text, sizeof text, withSign ? "%+lld" : "%lld",
                    static_cast<long long>(integer));
    }
    return text;
  }

  CFStringRef copyDescription() const override {
    static const char* const typeNames[] = {"",
                                            "kCFNumberSInt8Type",
                                            "kCFNumberSInt16Type",
                                            "kCFNumberSInt32Type",
                                            "kCFNumberSInt64Type",
                                            "kCFNumberFloat32Type",
                                            "kCFNumberFloat64Type"};
    return cf::makeString(cf::descriptionPrefix("CFNumber", this) + "{value = " + valueText(true) +
                          ", type = " + typeNames[type] + "}");
  }

  CFStringRef copyFormattingDescription() const override {
    return cf::makeString(valueText(false));
  }

  CFNumberType type;
  SInt64 integer = 0;
  double real = 0;
};

struct __CFBoolean final : cf::Object {
  explicit __CFBoolean(bool booleanValue)
      : Object(cf::kBooleanTypeID, Immortal{}), value(booleanValue) {}
  CFStringRef copyDescription() const override {
    return cf::makeString(cf::descriptionPrefix("CFBoolean", this) +
                          "{value = " + (value ? "true" : "false") + "}");
  }
  bool value;
};

namespace {

const __CFBoolean trueObject(true);
const __CFBoolean falseObject(false);

// The storage type CF reports for each requested type (LP64).
CFNumberType canonicalType(CFNumberType type) {
  switch (type) {
  case kCFNumberSInt8Type:
  case kCFNumberCharType:
    return kCFNumberSInt8Type;
  case kCFNumberSInt16Type:
  case kCFNumberShortType:
    return kCFNumberSInt16Type;
  case kCFNumberSInt32Type:
  case kCFNumberIntType:
    return kCFNumberSInt32Type;
  case kCFNumberSInt64Type:
  case kCFNumberLongType:
  case kCFNumberLongLongType:
  case kCFNumberCFIndexType:
  case kCFNumberNSIntegerType:
    return kCFNumberSInt64Type;
  case kCFNumberFloat32Type:
  case kCFNumberFloatType:
    return kCFNumberFloat32Type;
  case kCFNumberFloat64Type:
  case kCFNumberDoubleType:
  case kCFNumberCGFloatType:
    return kCFNumberFloat64Type;
  default:
    return 0;
  }
}

template <class T>
bool storeInteger(SInt64 value, void* out) {
  T clamped = static_cast<T>(value);
  bool exact = true;
  if (value < static_cast<SInt64>(std::numeric_limits<T>::min())) {
    clamped = std::numeric_limits<T>::min();
    exact = false;
  } else if (value > static_cast<SInt64>(std::numeric_limits<T>::max())) {
    clamped = std::numeric_limits<T>::max();
    exact = false;
  }
  std::memcpy(out, &clamped, sizeof clamped);
  return exact;
}

} // namespace

const CFBooleanRef kCFBooleanTrue = &trueObject;
const CFBooleanRef kCFBooleanFalse = &falseObject;

CFTypeID CFBooleanGetTypeID(void) {
  return cf::kBooleanTypeID;
}
Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  return boolean->value;
}

CFTypeID CFNumberGetTypeID(void) {
  return cf::kNumberTypeID;
}

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void* valuePtr) {
  CFNumberType type = canonicalType(theType);
  if (type == 0 || valuePtr == nullptr) {
    return nullptr;
  }
  auto* number = new __CFNumber(allocator, type);
  switch (theType) {
  case kCFNumberSInt8Type:
  case kCFNumberCharType:
    number->integer = *static_cast<const SInt8*>(valuePtr);
    break;
  case kCFNumberSInt16Type:
  case kCFNumberShortType:
    number->integer = *static_cast<const SInt16*>(valuePtr);
    break;
  case kCFNumberSInt32Type:
  case kCFNumberIntType:
    number->integer = *static_cast<const SInt32*>(valuePtr);
    break;
  case kCFNumberFloat32Type:
  case kCFNumberFloatType:
    number->real = *static_cast<const float*>(valuePtr);
    break;
  case kCFNumberFloat64Type:
  case kCFNumberDoubleType:
  case kCFNumberCGFloatType:
    number->real = *static_cast<const double*>(valuePtr);
    break;
  default:
    number->integer = *static_cast<const SInt64*>(valuePtr);
    break;
  }
  return number;
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
  return number->isFloat();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
  CFNumberType target = canonicalType(theType);
  if (target == 0 || valuePtr == nullptr) {
    return false;
  }
  if (target == kCFNumberFloat32Type || target == kCFNumberFloat64Type) {
    double value = number->asDouble();
    if (target == kCFNumberFloat32Type) {
      auto f = static_cast<float>(value);
      std::memcpy(valuePtr, &f, sizeof f);
      return static_cast<double>(f) == value || std::isnan(value);
    }
    std::memcpy(valuePtr, &value, sizeof value);
    return number->isFloat() || static_cast<SInt64>(value) == number->integer;
  }
  SInt64 value = number->integer;
  bool exact = true;
  if (number->isFloat()) {
    double real = number->real;
    if (std::isnan(real)) {
      value = 0;
      exact = false;
    } else if (real >= 9223372036854775807.0) {
      value = std::numeric_limits<SInt64>::max();
      exact = false;
    } else if (real <= -9223372036854775808.0) {
      value = std::numeric_limits<SInt64>::min();
      exact = real == -9223372036854775808.0;
    } else {
      value = static_cast<SInt64>(real);
      exact = static_cast<double>(value) == real;
    }
  }
  switch (target) {
  case kCFNumberSInt8Type:
    return storeInteger<SInt8>(value, valuePtr) && exact;
  case kCFNumberSInt16Type:
    return storeInteger<SInt16>(value, valuePtr) && exact;
  case kCFNumberSInt32Type:
    return storeInteger<SInt32>(value, valuePtr) && exact;
  default:
    return storeInteger<SInt64>(value, valuePtr) && exact;
  }
}
