// Handles on nodes, and what they tell of them.
#include <cstddef>
#include <utility>

#include "configuration/xml_record.h"
#include "configuration/xml_text.h"

const XMLNode XMLNode::emptyXMLNode;

namespace {

/// Element of an array, or null.
template <typename T>
T* elementAt(std::vector<T>& array, int i) {
  return i >= 0 && static_cast<std::size_t>(i) < array.size() ? &array[static_cast<std::size_t>(i)]
                                                              : nullptr;
}

template <typename T>
int sizeOf(const std::vector<T>& array) {
  return static_cast<int>(array.size());
}

/// First element from *index on (null: from 0) that a predicate likes; moves *index behind it.
template <typename T, typename Predicate>
T* findFrom(std::vector<T>& array, int* index, Predicate&& likes) {
  const int first = index == nullptr || *index < 0 ? 0 : *index;
  for (int i = first; i < sizeOf(array); ++i) {
    T& element = array[static_cast<std::size_t>(i)];
    if (!likes(element)) continue;
    if (index != nullptr) *index = i + 1;
    return &element;
  }
  return nullptr;
}

bool isNamed(const XMLNode& node, const char* name) {
  return name != nullptr && velmora::equalIgnoringCase(node.record()->name, name);
}

velmora::Attribute* findAttribute(XMLNodeDataTag* record, const char* name, int* index) {
  if (record == nullptr || name == nullptr) return nullptr;
  return findFrom(record->attributes, index, [name](const velmora::Attribute& attribute) {
    return velmora::equalIgnoringCase(attribute.name, name);
  });
}

const char* textOrNull(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

}  // namespace

XMLNode::XMLNode(XMLNodeDataTag* record) noexcept : record_(record) {
  if (record_ != nullptr) ++record_->references;
}
XMLNode::XMLNode(const XMLNode& other) noexcept : XMLNode(other.record_) {}
XMLNode::XMLNode(XMLNode&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}

XMLNode& XMLNode::operator=(const XMLNode& other) noexcept {
  XMLNode copy(other);
  std::swap(record_, copy.record_);
  return *this;
}
XMLNode& XMLNode::operator=(XMLNode&& other) noexcept {
  XMLNode taken(std::move(other));
  std::swap(record_, taken.record_);
  return *this;
}

XMLNode::~XMLNode() {
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): it does not follow the count
  if (record_ != nullptr && --record_->references == 0) delete record_;
}

XMLNode XMLNode::emptyNode() noexcept {
  return emptyXMLNode;
}

bool XMLNode::isDeclaration() const noexcept {
  return record_ != nullptr && record_->declaration;
}

const char* XMLNode::getName() const noexcept {
  return record_ == nullptr || record_->name.empty() ? nullptr : record_->name.c_str();
}

XMLNode XMLNode::getParentNode() const noexcept {
  return XMLNode(record_ == nullptr ? nullptr : record_->parent);
}

int XMLNode::nChildNode() const noexcept {
  return record_ == nullptr ? 0 : sizeOf(record_->children);
}
int XMLNode::nText() const noexcept {
  return record_ == nullptr ? 0 : sizeOf(record_->texts);
}
int XMLNode::nClear() const noexcept {
  return record_ == nullptr ? 0 : sizeOf(record_->clears);
}
int XMLNode::nAttribute() const noexcept {
  return record_ == nullptr ? 0 : sizeOf(record_->attributes);
}
int XMLNode::nElement() const noexcept {
  return record_ == nullptr ? 0 : sizeOf(record_->order);
}

int XMLNode::nChildNode(const char* name) const noexcept {
  int count = 0;
  int index = 0;
  while (!getChildNode(name, &index).isEmpty())
    ++count;
  return count;
}

XMLNode XMLNode::getChildNode(int i) const noexcept {
  const XMLNode* child = record_ == nullptr ? nullptr : elementAt(record_->children, i);
  return child == nullptr ? emptyNode() : *child;
}

XMLNode XMLNode::getChildNode(const char* name, int* index) const noexcept {
  if (record_ == nullptr) return emptyNode();
  const XMLNode* child = findFrom(record_->children, index,
                                  [name](const XMLNode& node) { return isNamed(node, name); });
  return child == nullptr ? emptyNode() : *child;
}

XMLNode XMLNode::getChildNode(const char* name, int j) const noexcept {
  XMLNode child;
  int index = 0;
  for (int i = 0; i <= j; ++i) {
    child = getChildNode(name, &index);
    if (child.isEmpty()) break;
  }
  return child;
}

const char* XMLNode::getText(int i) const noexcept {
  const std::string* text = record_ == nullptr ? nullptr : elementAt(record_->texts, i);
  return text == nullptr ? nullptr : text->c_str();
}

XMLClear XMLNode::getClear(int i) const noexcept {
  const auto* clear = record_ == nullptr ? nullptr : elementAt(record_->clears, i);
  if (clear == nullptr) return {};
  // The delimiters are literals, so they end in a null byte.
  return {clear->value.c_str(), clear->delimiters->open.data(), clear->delimiters->close.data()};
}

XMLAttribute XMLNode::getAttribute(int i) const noexcept {
  const auto* attribute = record_ == nullptr ? nullptr : elementAt(record_->attributes, i);
  if (attribute == nullptr) return {};
  return {attribute->name.c_str(), textOrNull(attribute->value)};
}

const char* XMLNode::getAttribute(const char* name, int* index) const noexcept {
  const auto* attribute = findAttribute(record_, name, index);
  return attribute == nullptr ? nullptr : textOrNull(attribute->value);
}

bool XMLNode::isAttributeSet(const char* name) const noexcept {
  return findAttribute(record_, name, nullptr) != nullptr;
}

void XMLNode::deleteText(int i) noexcept {
  if (record_ == nullptr || elementAt(record_->texts, i) == nullptr) return;
  record_->texts.erase(record_->texts.begin() + i);
  record_->removeFromOrder(XMLElementText, static_cast<std::size_t>(i));
}

void XMLNode::deleteClear(int i) noexcept {
  if (record_ == nullptr || elementAt(record_->clears, i) == nullptr) return;
  record_->clears.erase(record_->clears.begin() + i);
  record_->removeFromOrder(XMLElementClear, static_cast<std::size_t>(i));
}
