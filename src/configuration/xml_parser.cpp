// The element grammar.
#include "configuration/xml_parser.h"

#include <algorithm>
#include <memory>

#include "configuration/xml_text.h"

namespace velmora {

XMLNode XmlParser::ParseXMLElement() {
  XMLNode top(new XMLNodeDataTag);
  current_ = top.record();
  if (at(kByteOrderMark)) position_ = kByteOrderMark.size();
  bool good = true;
  while (good && !atEnd()) {
    if (text_[position_] != '<') {
      good = parseText();
    } else if (const ClearDelimiters* delimiters = clearHere(); delimiters != nullptr) {
      good = parseClear(*delimiters);
    } else if (at("<?")) {
      good = parseDeclaration();
    } else if (at("</")) {
      good = parseEndTag();
    } else {
      good = parseStartTag();
    }
  }
  if (good && depth_ > 0) fail(XMLErrorUnclosedTag, position_);
  top.record()->exactMemory();
  return top;
}

XMLResults XmlParser::results() const {
  const std::string_view done = text_.substr(0, position_);
  const std::size_t lineFeed = done.rfind('\n');  // no encoding has one inside a character
  std::size_t i = lineFeed == std::string_view::npos ? 0 : lineFeed + 1;
  if (i == 0 && done.starts_with(kByteOrderMark)) i = kByteOrderMark.size();
  XMLResults results = {error_, 1, 1};
  results.line += static_cast<int32_t>(std::count(done.begin(), done.end(), '\n'));
  for (; i < position_; i += characterLength(text_, i, options_.encoding))
    ++results.column;
  return results;
}

bool XmlParser::fail(XMLError error, std::size_t position) {
  error_ = error;
  position_ = position;
  return false;
}

const ClearDelimiters* XmlParser::clearHere() const {
  const auto* found =
      std::find_if(kClearDelimiters.begin(), kClearDelimiters.end(),
                   [this](const ClearDelimiters& delimiters) { return at(delimiters.open); });
  return found == kClearDelimiters.end() ? nullptr : found;
}

void XmlParser::skipBlanks() {
  while (!atEnd() && isXmlBlank(text_[position_]))
    ++position_;
}

bool XmlParser::skipTo(std::string_view token) {
  // Bytes below 40 hexadecimal begin a character in every encoding.
  if (token.front() < 0x40) {
    position_ = std::min(text_.find(token, position_), text_.size());
    return !atEnd();
  }
  while (!atEnd() && !at(token))
    nextCharacter();
  return !atEnd();
}

std::string_view XmlParser::takeName(bool declaration, bool attribute) {
  const std::size_t begin = position_;
  for (; !atEnd(); nextCharacter()) {
    const char c = text_[position_];
    if (isXmlBlank(c) || (attribute && c == '=')) break;
    if (declaration ? at("?>") : (c == '/' || c == '<' || c == '>')) break;
  }
  return text_.substr(begin, position_ - begin);
}

bool XmlParser::decode(std::size_t begin, std::size_t end, std::string& decoded) {
  const auto fault = fromXMLString(text_.substr(begin, end - begin), options_.encoding, decoded);
  return !fault || fail(XMLErrorUnknownEntity, begin + *fault);
}

bool XmlParser::parseText() {
  const std::size_t begin = position_;
  skipTo("<");
  std::string text;
  if (!decode(begin, position_, text)) return false;
  const auto isBlank = [](char c) { return isXmlBlank(c); };
  if (options_.trimTexts) {
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isBlank).base(), text.end());
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isBlank));
  }
  if (options_.dropWhiteSpace && std::all_of(text.begin(), text.end(), isBlank)) return true;
  current_->addToOrder(XMLElementText, current_->texts.size());
  current_->texts.push_back(std::move(text));
  return true;
}

bool XmlParser::parseClear(const ClearDelimiters& delimiters) {
  const std::size_t begin = position_;
  position_ += delimiters.open.size();
  const std::size_t content = position_;
  if (!skipTo(delimiters.close)) return fail(XMLErrorUnclosedClear, begin);
  current_->addToOrder(XMLElementClear, current_->clears.size());
  current_->clears.push_back(
      {std::string(text_.substr(content, position_ - content)), &delimiters});
  position_ += delimiters.close.size();
  return true;
}

XMLNodeDataTag& XmlParser::addChild(std::string_view name, bool declaration) {
  XMLNode child(new XMLNodeDataTag);
  XMLNodeDataTag& record = *child.record();
  record.name = name;
  record.declaration = declaration;
  current_->addToOrder(XMLElementChild, current_->children.size());
  current_->children.push_back(std::move(child));
  record.parent = current_;
  return record;
}

void XmlParser::close() {
  current_->exactMemory();
  current_ = current_->parent;
  --depth_;
}

bool XmlParser::parseDeclaration() {
  const std::size_t begin = position_;
  position_ += 2;
  const std::string_view name = takeName(true, false);
  if (name.empty()) return fail(XMLErrorTagName, begin);
  XMLNodeDataTag& record = addChild(name, true);
  for (;;) {
    skipBlanks();
    if (atEnd()) return fail(XMLErrorMalformedTag, position_);
    if (at("?>")) break;
    if (!parseAttribute(record)) return false;
  }
  position_ += 2;
  record.exactMemory();
  return true;
}

bool XmlParser::parseStartTag() {
  const std::size_t begin = position_;
  ++position_;
  const std::string_view name = takeName(false, false);
  // Markup that begins with "<!" was looked for before: this is none that can be read.
  if (name.empty() || name.front() == '!') return fail(XMLErrorTagName, begin);
  if (depth_ == kMaxXmlDepth) return fail(XMLErrorTooDeep, begin);
  current_ = &addChild(name, false);
  ++depth_;
  for (;;) {
    skipBlanks();
    if (at("/>")) {
      position_ += 2;
      close();
      return true;
    }
    if (at(">")) {
      ++position_;
      return true;
    }
    if (atEnd() || at("/") || at("<")) return fail(XMLErrorMalformedTag, position_);
    if (!parseAttribute(*current_)) return false;
  }
}

bool XmlParser::parseEndTag() {
  const std::size_t begin = position_;
  position_ += 2;
  const std::string_view name = takeName(false, false);
  if (name.empty()) return fail(XMLErrorTagName, begin);
  if (depth_ == 0 || !equalIgnoringCase(name, current_->name)) {
    return fail(XMLErrorUnmatchedEndTag, begin);
  }
  skipBlanks();
  if (!at(">")) return fail(XMLErrorMalformedTag, position_);
  ++position_;
  close();
  return true;
}

bool XmlParser::parseAttribute(XMLNodeDataTag& owner) {
  const std::size_t begin = position_;
  Attribute attribute;
  attribute.name = takeName(owner.declaration, true);
  if (attribute.name.empty()) return fail(XMLErrorTagName, begin);
  skipBlanks();
  if (at("=")) {
    ++position_;
    skipBlanks();
    if (!at("\"") && !at("'")) return fail(XMLErrorAttributeValue, position_);
    const std::string_view quote = text_.substr(position_, 1);
    const std::size_t value = ++position_;
    if (!skipTo(quote)) return fail(XMLErrorAttributeValue, value - 1);
    if (!decode(value, position_, attribute.value.emplace())) return false;
    ++position_;
  } else if (!owner.declaration) {
    return fail(XMLErrorAttributeValue, position_);
  }
  owner.addToOrder(XMLElementAttribute, owner.attributes.size());
  owner.attributes.push_back(std::move(attribute));
  return true;
}

}  // namespace velmora
