// What an AEDesc's data handle points at: a tree of owned nodes. A descriptor's type lives in
// the AEDesc (or in the Entry that holds a nested one); the node holds the data.
#pragma once

#include <CoreServices/AE/AEDataModel.h>

#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

namespace ae {

using Bytes = std::vector<std::uint8_t>;

enum class Kind { Scalar, List, Record, Event };

struct Node;
using NodePtr = std::unique_ptr<Node>;

// One descriptor held by value. A null node means "no data" (a null descriptor, or a scalar
// of length zero).
struct Value {
  DescType type = typeNull;
  NodePtr node;

  Value() = default;
  Value(DescType t, NodePtr n) : type(t), node(std::move(n)) {}
  Value(Value&&) noexcept = default;
  Value& operator=(Value&&) noexcept = default;

  Value clone() const;
  Kind kind() const;
  // Hands ownership to a C descriptor.
  AEDesc release();
};

// A list item (key typeWildCard), a record field, an event parameter or attribute.
struct Entry {
  AEKeyword key = typeWildCard;
  Value value;
};

struct Node {
  Kind kind = Kind::Scalar;
  Bytes bytes;              // Scalar
  std::vector<Entry> items; // List, Record; an Event's parameters
  std::vector<Entry> attrs; // Event only; the five required ones come first

  NodePtr clone() const;
};

// Borrowing views of a C descriptor.
inline Node* nodeOf(const AEDesc* d) {
  return reinterpret_cast<Node*>(d->dataHandle);
}
Kind kindOf(const AEDesc* d);
inline bool isComposite(Kind k) {
  return k != Kind::Scalar;
}
inline bool isKeyed(Kind k) {
  return k == Kind::Record || k == Kind::Event;
}

// A borrowed (non-owning) Value-like view so helpers can take either.
struct View {
  DescType type;
  const Node* node;
  Kind kind() const { return node ? node->kind : Kind::Scalar; }
  const std::uint8_t* data() const {
    return node && node->kind == Kind::Scalar ? node->bytes.data() : nullptr;
  }
  std::size_t size() const { return node && node->kind == Kind::Scalar ? node->bytes.size() : 0; }
};
inline View view(const AEDesc* d) {
  return {d->descriptorType, nodeOf(d)};
}
inline View view(const Value& v) {
  return {v.type, v.node.get()};
}

Value makeScalar(DescType type, const void* data, std::size_t size);
Value makeComposite(DescType type, Kind kind);
Value copyOf(const AEDesc* d);
// Frees whatever a descriptor owns and leaves it null.
void disposeDesc(AEDesc* d);
inline AEDesc nullDesc() {
  return AEDesc{typeNull, nullptr};
}

Entry* findEntry(std::vector<Entry>& entries, AEKeyword key);
const Entry* findEntry(const std::vector<Entry>& entries, AEKeyword key);
void putEntry(std::vector<Entry>& entries, AEKeyword key, Value v);

// Runs an API body, turning allocation failures into memFullErr.
template <class F>
OSErr guarded(F&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return memFullErr;
  } catch (const std::length_error&) {
    return memFullErr;
  }
}

} // namespace ae
