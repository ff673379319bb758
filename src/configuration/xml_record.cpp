// Bookkeeping of a node's elements.
#include "configuration/xml_record.h"

#include <algorithm>

namespace {

constexpr int32_t orderEntry(XMLElementType type, std::size_t index) {
  return static_cast<int32_t>(index << 2) | type;
}

}  // namespace

XMLNodeDataTag::~XMLNodeDataTag() {
  for (const XMLNode& child : children)
    child.record()->parent = nullptr;
}

void XMLNodeDataTag::addToOrder(XMLElementType type, std::size_t index) {
  order.push_back(orderEntry(type, index));
}

void XMLNodeDataTag::removeFromOrder(XMLElementType type, std::size_t index) {
  const auto found = std::find(order.begin(), order.end(), orderEntry(type, index));
  if (found == order.end()) return;
  for (auto later = order.erase(found); later != order.end(); ++later) {
    if (typeOf(*later) == type) *later -= 1 << 2;
  }
}

void XMLNodeDataTag::exactMemory() {
  children.shrink_to_fit();
  texts.shrink_to_fit();
  clears.shrink_to_fit();
  attributes.shrink_to_fit();
  order.shrink_to_fit();
}
