#include "Coercion.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace ae {
namespace {

struct Number {
  enum { Signed, Unsigned, Real } kind;
  std::int64_t s = 0;
  std::uint64_t u = 0;
  double d = 0;
  bool single = false; // came from a 4-byte float: printed with float precision
};

template <class T>
T load(const std::uint8_t* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

bool isNumericType(DescType t) {
  switch (t) {
  case typeSInt16:
  case typeUInt16:
  case typeSInt32:
  case typeUInt32:
  case typeSInt64:
  case typeUInt64:
  case typeIEEE32BitFloatingPoint:
  case typeIEEE64BitFloatingPoint:
    return true;
  default:
    return false;
  }
}

bool isTextType(DescType t) {
  return t == typeChar || t == typeUTF8Text;
}
bool isCodeType(DescType t) {
  return t == typeType || t == typeEnumerated || t == typeKeyword || t == typeProperty;
}

bool isScalarType(DescType t) {
  return isNumericType(t) || isTextType(t) || isCodeType(t) || t == typeBoolean || t == typeTrue ||
         t == typeFalse || t == typeNull || t == typeUnicodeText ||
         t == typeUTF16ExternalRepresentation || t == typeApplSignature ||
         t == typeProcessSerialNumber || t == typeKernelProcessID || t == typeMachPort ||
         t == typeApplicationBundleID || t == typeData;
}

// The number at p when its n bytes are exactly one T.
template <class T>
std::optional<Number> numberOf(const std::uint8_t* p, std::size_t n) {
  if (n != sizeof(T))
    return std::nullopt;
  T v = load<T>(p);
  if constexpr (std::is_floating_point_v<T>)
    return Number{Number::Real, 0, 0, double(v), std::is_same_v<T, float>};
  else if constexpr (std::is_signed_v<T>)
    return Number{Number::Signed, v};
  else
    return Number{Number::Unsigned, 0, v};
}

std::optional<Number> numberFrom(DescType t, const std::uint8_t* p, std::size_t n) {
  switch (t) {
  case typeSInt16:
    return numberOf<std::int16_t>(p, n);
  case typeUInt16:
    return numberOf<std::uint16_t>(p, n);
  case typeSInt32:
    return numberOf<std::int32_t>(p, n);
  case typeUInt32:
    return numberOf<std::uint32_t>(p, n);
  case typeSInt64:
    return numberOf<std::int64_t>(p, n);
  case typeUInt64:
    return numberOf<std::uint64_t>(p, n);
  case typeIEEE32BitFloatingPoint:
    return numberOf<float>(p, n);
  case typeIEEE64BitFloatingPoint:
    return numberOf<double>(p, n);
  default:
    return std::nullopt;
  }
}

// A numeral: optional surrounding blanks, an optional sign, then an integer or a real number.
std::optional<Number> parseNumeral(std::string_view s) {
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!s.empty() && blank(s.front()))
    s.remove_prefix(1);
  while (!s.empty() && blank(s.back()))
    s.remove_suffix(1);
  if (!s.empty() && s.front() == '+') {
    s.remove_prefix(1);
    if (!s.empty() && (s.front() == '+' || s.front() == '-'))
      return std::nullopt;
  }
  if (s.empty())
    return std::nullopt;
  const char* b = s.data();
  const char* e = b + s.size();
  std::int64_t i = 0;
  if (auto r = std::from_chars(b, e, i); r.ec == std::errc() && r.ptr == e)
    return Number{Number::Signed, i};
  std::uint64_t u = 0;
  if (auto r = std::from_chars(b, e, u); r.ec == std::errc() && r.ptr == e)
    return Number{Number::Unsigned, 0, u};
  double d = 0;
  if (auto r = std::from_chars(b, e, d, std::chars_format::general);
      r.ec == std::errc() && r.ptr == e && std::isfinite(d))
    return Number{Number::Real, 0, 0, d};
  return std::nullopt;
}

template <class T>
std::optional<T> toInteger(const Number& n) {
  switch (n.kind) {
  case Number::Signed:
    if (std::in_range<T>(n.s))
      return T(n.s);
    return std::nullopt;
  case Number::Unsigned:
    if (std::in_range<T>(n.u))
      return T(n.u);
    return std::nullopt;
  case Number::Real: {
    if (!std::isfinite(n.d))
      return std::nullopt;
    double r = std::round(n.d);
    double limit = std::ldexp(1.0, std::numeric_limits<T>::digits);
    double low = std::numeric_limits<T>::is_signed ? -limit : 0.0;
    if (r < low || r >= limit)
      return std::nullopt;
    return T(r);
  }
  }
  return std::nullopt;
}

double toReal(const Number& n) {
  switch (n.kind) {
  case Number::Signed:
    return double(n.s);
  case Number::Unsigned:
    return double(n.u);
  case Number::Real:
    return n.d;
  }
  return 0;
}

template <class T>
Bytes bytesOf(T v) {
  Bytes b(sizeof v);
  std::memcpy(b.data(), &v, sizeof v);
  return b;
}

template <class T>
bool putInteger(const Number& n, Bytes& out) {
  auto v = toInteger<T>(n);
  if (!v)
    return false;
  out = bytesOf(*v);
  return true;
}

bool numberTo(const Number& n, DescType to, Bytes& out) {
  switch (to) {
  case typeSInt16:
    return putInteger<std::int16_t>(n, out);
  case typeUInt16:
    return putInteger<std::uint16_t>(n, out);
  case typeSInt32:
    return putInteger<std::int32_t>(n, out);
  case typeUInt32:
    return putInteger<std::uint32_t>(n, out);
  case typeSInt64:
    return putInteger<std::int64_t>(n, out);
  case typeUInt64:
    return putInteger<std::uint64_t>(n, out);
  case typeIEEE32BitFloatingPoint: {
    double d = toReal(n);
    if (!std::isfinite(d) || std::fabs(d) > double(std::numeric_limits<float>::max()))
      return false;
    out = bytesOf(float(d));
    return true;
  }
  case typeIEEE64BitFloatingPoint:
    out = bytesOf(toReal(n));
    return true;
  case typeChar:
  case typeUTF8Text: {
    char buf[64];
    std::to_chars_result r{};
    if (n.kind == Number::Signed)
      r = std::to_chars(buf, buf + sizeof buf, n.s);
    else if (n.kind == Number::Unsigned)
      r = std::to_chars(buf, buf + sizeof buf, n.u);
    else if (n.single)
      r = std::to_chars(buf, buf + sizeof buf, float(n.d));
    else
      r = std::to_chars(buf, buf + sizeof buf, n.d);
    out.assign(buf, r.ptr);
    return true;
  }
  case typeBoolean: {
    // Only the integers 0 and 1 are truth values; anything else is refused.
    if (n.kind == Number::Real)
      return false;
    auto v = toInteger<std::int64_t>(n);
    if (!v || (*v != 0 && *v != 1))
      return false;
    out = Bytes{std::uint8_t(*v)};
    return true;
  }
  default:
    return false;
  }
}

std::optional<bool> truthFrom(DescType t, const std::uint8_t* p, std::size_t n) {
  switch (t) {
  case typeBoolean:
    if (n == 1 || n == 2) {
      bool any = false;
      for (std::size_t i = 0; i < n; ++i)
        any = any || p[i] != 0;
      return any;
    }
    return std::nullopt;
  case typeTrue:
    return true;
  case typeFalse:
    return false;
  case typeEnumerated:
    if (n == 4) {
      auto code = load<std::uint32_t>(p);
      if (code == typeTrue)
        return true;
      if (code == typeFalse)
        return false;
    }
    return std::nullopt;
  default:
    return std::nullopt;
  }
}

bool truthTo(bool b, DescType to, Bytes& out) {
  switch (to) {
  case typeBoolean:
    out = Bytes{std::uint8_t(b)};
    return true;
  case typeEnumerated:
    out = bytesOf<std::uint32_t>(b ? typeTrue : typeFalse);
    return true;
  case typeSInt16:
  case typeUInt16:
  case typeSInt32:
  case typeUInt32:
  case typeSInt64:
  case typeUInt64:
    return numberTo(Number{Number::Signed, b ? 1 : 0}, to, out);
  default:
    return false;
  }
}

bool coerceScalar(DescType from, const std::uint8_t* p, std::size_t n, DescType to, Bytes& out) {
  if (isNumericType(from)) {
    auto num = numberFrom(from, p, n);
    return num && numberTo(*num, to, out);
  }
  if (auto truth = truthFrom(from, p, n); truth && truthTo(*truth, to, out))
    return true;
  if (isTextType(from)) {
    if (isTextType(to)) {
      out.assign(p, p + n);
      return true;
    }
    if (!isNumericType(to))
      return false;
    auto num = parseNumeral(std::string_view(reinterpret_cast<const char*>(p), n));
    return num && numberTo(*num, to, out);
  }
  if (isCodeType(from) && isCodeType(to) && n == 4) {
    out.assign(p, p + n);
    return true;
  }
  return false;
}

Value oneItemList(View from) {
  Value list = makeComposite(typeAEList, Kind::List);
  list.node->items.push_back(
      {typeWildCard, Value(from.type, from.node ? from.node->clone() : nullptr)});
  return list;
}

} // namespace

OSErr coerce(View from, DescType to, CompositeRule rule, Value& out) {
  auto copy = [&](DescType type) {
    out = Value(type, from.node ? from.node->clone() : nullptr);
    return noErr;
  };
  if (to == typeWildCard || to == from.type)
    return copy(from.type);
  Kind kind = from.kind();
  if (to == typeAEList) {
    if (kind == Kind::List)
      return copy(typeAEList);
    out = oneItemList(from);
    return noErr;
  }
  if (kind == Kind::Record) {
    if (to == typeAERecord)
      return copy(typeAERecord);
    if (rule == CompositeRule::Retypable && !isScalarType(to) && to != typeAppleEvent)
      return copy(to);
    return errAECoercionFail;
  }
  if (kind != Kind::Scalar)
    return errAECoercionFail;
  Bytes bytes;
  if (!coerceScalar(from.type, from.data(), from.size(), to, bytes))
    return errAECoercionFail;
  out = makeScalar(to, bytes.data(), bytes.size());
  return noErr;
}

} // namespace ae
