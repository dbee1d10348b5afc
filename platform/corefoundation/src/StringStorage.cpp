#include "StringStorage.h"

namespace cf {

void StringStorage::widen() {
  if (wide) {
    return;
  }
  units.resize(narrow.size());
  for (size_t i = 0; i < narrow.size(); ++i) {
    units[i] = static_cast<unsigned char>(narrow[i]);
  }
  std::string().swap(narrow);
  wide = true;
}

void StringStorage::reserve(size_t count) {
  if (wide) {
    units.reserve(count);
  } else {
    narrow.reserve(count);
  }
}

void StringStorage::appendLatin1(const char* bytes, size_t count) {
  if (!wide) {
    narrow.append(bytes, count);
    return;
  }
  size_t old = units.size();
  units.resize(old + count);
  for (size_t i = 0; i < count; ++i) {
    units[old + i] = static_cast<unsigned char>(bytes[i]);
  }
}

void StringStorage::appendUnits(const char16_t* chars, size_t count) {
  if (!wide) {
    bool fits = true;
    for (size_t i = 0; i < count && fits; ++i) {
      fits = chars[i] < 0x100;
    }
    if (fits) {
      size_t old = narrow.size();
      narrow.resize(old + count);
      for (size_t i = 0; i < count; ++i) {
        narrow[old + i] = static_cast<char>(chars[i]);
      }
      return;
    }
    widen();
  }
  units.append(chars, count);
}

void StringStorage::appendUnit(UniChar unit) {
  char16_t c = unit;
  appendUnits(&c, 1);
}

void StringStorage::append(const StringStorage& other, size_t from, size_t count) {
  if (other.wide) {
    appendUnits(other.units.data() + from, count);
  } else {
    appendLatin1(other.narrow.data() + from, count);
  }
}

void StringStorage::erase(size_t from, size_t count) {
  if (wide) {
    units.erase(from, count);
  } else {
    narrow.erase(from, count);
  }
}

void StringStorage::insert(size_t at, const StringStorage& other) {
  StringStorage tail;
  tail.append(*this, at, length() - at);
  erase(at, length() - at);
  append(other);
  append(tail);
}

bool StringStorage::isASCII() const {
  if (wide) {
    for (char16_t c : units) {
      if (c >= 0x80) {
        return false;
      }
    }
    return true;
  }
  for (char c : narrow) {
    if (static_cast<unsigned char>(c) >= 0x80) {
      return false;
    }
  }
  return true;
}

} // namespace cf
