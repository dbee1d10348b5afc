#include "Storage.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace ae {

NodePtr Node::clone() const {
  auto n = std::make_unique<Node>();
  n->kind = kind;
  n->bytes = bytes;
  n->items.reserve(items.size());
  for (const Entry& e : items)
    n->items.push_back({e.key, e.value.clone()});
  n->attrs.reserve(attrs.size());
  for (const Entry& e : attrs)
    n->attrs.push_back({e.key, e.value.clone()});
  return n;
}

Value Value::clone() const {
  return Value(type, node ? node->clone() : nullptr);
}

Kind Value::kind() const {
  return node ? node->kind : Kind::Scalar;
}

AEDesc Value::release() {
  AEDesc d{type, reinterpret_cast<AEDataStorage>(node.release())};
  type = typeNull;
  return d;
}

Kind kindOf(const AEDesc* d) {
  const Node* n = nodeOf(d);
  return n ? n->kind : Kind::Scalar;
}

Value makeScalar(DescType type, const void* data, std::size_t size) {
  if (type == typeNull || size == 0)
    return Value(type, nullptr);
  auto n = std::make_unique<Node>();
  const auto* p = static_cast<const std::uint8_t*>(data);
  n->bytes.assign(p, p + size);
  return Value(type, std::move(n));
}

Value makeComposite(DescType type, Kind kind) {
  auto n = std::make_unique<Node>();
  n->kind = kind;
  return Value(type, std::move(n));
}

Value copyOf(const AEDesc* d) {
  const Node* n = nodeOf(d);
  return Value(d->descriptorType, n ? n->clone() : nullptr);
}

void disposeDesc(AEDesc* d) {
  delete nodeOf(d);
  *d = nullDesc();
}

Entry* findEntry(std::vector<Entry>& entries, AEKeyword key) {
  auto it =
      std::find_if(entries.begin(), entries.end(), [&](const Entry& e) { return e.key == key; });
  return it == entries.end() ? nullptr : &*it;
}

const Entry* findEntry(const std::vector<Entry>& entries, AEKeyword key) {
  auto it =
      std::find_if(entries.begin(), entries.end(), [&](const Entry& e) { return e.key == key; });
  return it == entries.end() ? nullptr : &*it;
}

void putEntry(std::vector<Entry>& entries, AEKeyword key, Value v) {
  if (Entry* e = findEntry(entries, key))
    e->value = std::move(v);
  else
    entries.push_back({key, std::move(v)});
}

} // namespace ae
