// A small XML document parser: a file or a string becomes a tree of nodes.
//
// Strings that functions take end in a null byte and are borrowed for the call. Strings that they
// return belong to the node they came from and live until that node changes or its last handle
// goes. Nothing here throws or prints; a failure is an empty node (and a code in XMLResults), a
// null pointer or a default.
//
// Threads: separate trees may be used on separate threads. The handles of one tree share a plain
// reference count, so one tree belongs to one thread at a time. The global options must not change
// while another thread parses.
#ifndef VELMORA_SR_XML_DOCUMENT_H
#define VELMORA_SR_XML_DOCUMENT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "velmora_sr/export.h"

/// How characters are told apart while scanning. Texts keep the bytes of the document.
enum XMLCharEncoding : int32_t {
  XMLCharEncodingUnknown = 0,
  XMLCharEncodingUTF8 = 1,
  XMLCharEncodingLegacy = 2,  ///< every byte is a character
  XMLCharEncodingShiftJIS = 3,
  XMLCharEncodingGB2312 = 4,
  XMLCharEncodingBig5 = 5,
  XMLCharEncodingGBK = 6
};

/// Kinds of elements of a node.
enum XMLElementType : int32_t {
  XMLElementChild = 0,
  XMLElementAttribute = 1,
  XMLElementText = 2,
  XMLElementClear = 3
};

/// Error codes in XMLResults.
enum XMLError : int32_t {
  XMLErrorNone = 0,
  XMLErrorUnclosedTag = 1,      ///< the text ends inside an element
  XMLErrorNoElement = 2,        ///< the document holds no element
  XMLErrorTagName = 3,          ///< a tag or an attribute without a name
  XMLErrorUnmatchedEndTag = 4,  ///< an end tag that closes nothing, or not the open element
  XMLErrorMalformedTag = 5,     ///< a tag that does not end as tags do
  XMLErrorAttributeValue = 6,   ///< an attribute without a quoted value
  XMLErrorUnclosedClear = 7,    ///< a clear section without its closing delimiter
  XMLErrorFile = 8,             ///< the file cannot be opened or read whole
  XMLErrorNullText = 9,         ///< null in place of a text
  XMLErrorTooLarge = 10,        ///< more than 16 MiB
  XMLErrorTopTagNotFound = 11,  ///< the requested top tag is not there
  XMLErrorUnknownEntity = 12,   ///< an unknown entity, or a character reference that is none
  XMLErrorTooDeep = 13,         ///< elements nested more than 512 deep
  XMLErrorOutOfMemory = 14
};

/// Outcome of parsing.
struct XMLResults {
  int32_t error;   ///< an XMLError
  int32_t line;    ///< where parsing stopped, from 1: line feeds so far and 1
  int32_t column;  ///< from 1: characters (of the encoding) since the last line feed and 1
};

/// A section that is kept as it stands: CDATA, DOCTYPE, a comment, or <PRE> in capitals.
struct XMLClear {
  const char* value;     ///< content between the delimiters; null if there is no such section
  const char* openTag;   ///< "<![CDATA[", "<!DOCTYPE", "<!--" or "<PRE>"
  const char* closeTag;  ///< "]]>", ">", "-->" or "</PRE>"
};

struct XMLAttribute {
  const char* name;   ///< null if there is no such attribute
  const char* value;  ///< decoded; null for a bare word in a declaration, <?target word?>
};

/// The record behind a node; opaque.
struct XMLNodeDataTag;

/// A handle on a node, or empty. Copies share the node; the last handle frees it with its subtree.
/// A child that somebody holds on to survives its parent, and has none from then on. Every accessor
/// of an empty node answers 0, null or empty. Names are compared without regard to (ASCII) case.
class VELMORA_API XMLNode {
 public:
  /// The empty node.
  constexpr XMLNode() noexcept = default;
  /// One more handle on a record; null gives the empty node.
  explicit XMLNode(XMLNodeDataTag* record) noexcept;
  XMLNode(const XMLNode& other) noexcept;
  XMLNode(XMLNode&& other) noexcept;
  XMLNode& operator=(const XMLNode& other) noexcept;
  XMLNode& operator=(XMLNode&& other) noexcept;
  ~XMLNode();

  static const XMLNode emptyXMLNode;
  /// Gives the empty node.
  static XMLNode emptyNode() noexcept;

  // ---- Parsing ----

  /// Parses a text in the encoding of the global options (UTF-8 unless changed).
  ///
  /// A byte-order mark is skipped. The result is the document's unnamed top node, which holds the
  /// declaration, the elements and whatever else stands beside them; but if the one thing in the
  /// document is one element (or declaration), it is that element. Mind the difference when looking
  /// things up: "<?xml ...?><Config/>" gives a top node with a child "Config", "<Config/>" gives
  /// "Config" itself.
  ///
  /// Elements are <name attribute="value" other='value'>...</name> and <name/>. A name ends at a
  /// blank, tab, line end, "/", "<" or ">". <?...?> is a node with isDeclaration(). Texts and
  /// values are decoded: &amp; &lt; &gt; &quot; &apos; in any case, &#decimal; &#xhexadecimal; (a
  /// character that the encoding cannot hold becomes "?"). Texts of white space alone are dropped,
  /// others kept as they stand, unless the options say otherwise.
  /// @param text     null gives XMLErrorNullText; at most 16 MiB
  /// @param tag      null or "": the result as above; else that, if it has this name, or its first
  ///                 child of this name
  /// @param results  null or written
  static XMLNode parseString(const char* text, const char* tag = nullptr,
                             XMLResults* results = nullptr) noexcept;

  /// Reads a whole file and parses it as parseString does, up to its first null byte.
  static XMLNode parseFile(const char* path, const char* tag = nullptr,
                           XMLResults* results = nullptr) noexcept;

  /// Calls parseFile in the encoding that the file's first 200 bytes suggest (UTF-8 if they suggest
  /// none). The global options keep this encoding.
  static XMLNode openFileHelper(const char* path, const char* tag = nullptr) noexcept;

  /// What openFileHelper does with the bytes of a file, here given: up to the first null byte, in
  /// the encoding that they suggest, which stays in the global options.
  /// @param data     `size` bytes; null gives XMLErrorNullText; at most 16 MiB
  /// @param results  null or written
  static XMLNode parseDocument(const char* data, std::size_t size,
                               XMLResults* results = nullptr) noexcept;

  /// Guesses an encoding from the first bytes of a document.
  /// @param data  `length` bytes; null counts as none
  /// @param useXMLEncodingAttribute  not 0: believe the declaration's encoding="..."
  /// Returns XMLCharEncodingUnknown for fewer than 25 bytes, for what looks like 16-bit text, and
  /// for a declared UTF-8 that is none.
  static XMLCharEncoding guessCharEncoding(const void* data, int length,
                                           char useXMLEncodingAttribute = 1) noexcept;

  /// Sets the options of all parsing from now on.
  /// @param encoding        XMLCharEncodingUnknown, or a value that is none: UTF-8
  /// @param guessWideChars  not 0 (the default): guessCharEncoding looks for 16-bit text
  /// @param dropWhiteSpace  not 0 (the default): texts of white space alone are dropped
  /// @param trimTexts       not 0: white space at both ends of texts is dropped; 0 by default
  static void setGlobalOptions(XMLCharEncoding encoding, char guessWideChars = 1,
                               char dropWhiteSpace = 1, char trimTexts = 0) noexcept;

  // ---- Looking at a node ----

  /// True for the empty node.
  [[nodiscard]] bool isEmpty() const noexcept { return record_ == nullptr; }
  /// True for a declaration, <?...?>.
  [[nodiscard]] bool isDeclaration() const noexcept;
  /// The name of an element or declaration; null for the document's top node.
  [[nodiscard]] const char* getName() const noexcept;
  /// The parent; empty for a node that never had one or whose parent is gone.
  [[nodiscard]] XMLNode getParentNode() const noexcept;

  /// Counts the node's children.
  [[nodiscard]] int nChildNode() const noexcept;
  /// Counts the node's texts.
  [[nodiscard]] int nText() const noexcept;
  /// Counts the node's clear sections.
  [[nodiscard]] int nClear() const noexcept;
  /// Counts the node's attributes.
  [[nodiscard]] int nAttribute() const noexcept;
  /// Counts children, texts, clear sections and attributes together.
  [[nodiscard]] int nElement() const noexcept;
  /// Counts the children with this name.
  [[nodiscard]] int nChildNode(const char* name) const noexcept;

  /// The i-th child, from 0.
  [[nodiscard]] XMLNode getChildNode(int i) const noexcept;
  /// The first child with this name. With an index the search starts at child *index (from 0),
  /// which then moves behind the child found: call again for the next one.
  [[nodiscard]] XMLNode getChildNode(const char* name, int* index = nullptr) const noexcept;
  /// The j-th child with this name, from 0.
  [[nodiscard]] XMLNode getChildNode(const char* name, int j) const noexcept;
  /// The i-th text, from 0, decoded; null if there is none.
  [[nodiscard]] const char* getText(int i = 0) const noexcept;
  /// The i-th clear section, from 0; nulls if there is none.
  [[nodiscard]] XMLClear getClear(int i = 0) const noexcept;
  /// The i-th attribute, from 0; nulls if there is none.
  [[nodiscard]] XMLAttribute getAttribute(int i) const noexcept;
  /// The value of the first attribute with this name; the index works as in getChildNode.
  [[nodiscard]] const char* getAttribute(const char* name, int* index = nullptr) const noexcept;
  /// True if there is an attribute with this name, even without a value.
  [[nodiscard]] bool isAttributeSet(const char* name) const noexcept;

  // ---- Changing a node ----

  /// Deletes the i-th text, if there is one.
  void deleteText(int i = 0) noexcept;
  /// Deletes the i-th clear section, if there is one.
  void deleteClear(int i = 0) noexcept;

  // ---- Writing ----

  /// Writes a node and its subtree as XML.
  /// @param record  from record(); null writes ""
  /// @param out     null, to ask for the length; else the length and a terminator are written
  /// @param indent  below 0: on one line. 0..64: every child on a line of its own, `indent` blanks
  ///                deeper than its parent; the content of a node that holds texts stays as it is,
  ///                since blanks would change them
  /// Returns the length without the terminator, or -1 if it does not fit an int. Parsing what was
  /// written gives the same tree, as long as texts of white space are dropped or nothing is
  /// indented.
  static int CreateXMLStringR(XMLNodeDataTag* record, char* out, int indent) noexcept;
  /// Writes this node and its subtree as XML; "" if the length does not fit an int.
  [[nodiscard]] std::string createXMLString(int indent = 2) const {
    const int length = CreateXMLStringR(record_, nullptr, indent);
    std::string text(static_cast<std::string::size_type>(length > 0 ? length : 0), '\0');
    if (length > 0) CreateXMLStringR(record_, text.data(), indent);
    return text;
  }

  /// The node's record; null when empty. Lives as long as the node.
  [[nodiscard]] XMLNodeDataTag* record() const noexcept { return record_; }

 private:
  XMLNodeDataTag* record_ = nullptr;
};

/// Replaces & < > " ' by their entities.
class VELMORA_API ToXMLStringTool {
 public:
  /// Length of the replaced text without terminator; 0 for null, -1 if it does not fit an int.
  static int lengthXMLString(const char* text) noexcept;
  /// Writes the replaced text and a terminator.
  /// @param out  lengthXMLString(text) + 1 bytes: unchecked
  /// Returns the place of the terminator.
  static char* toXMLUnSafe(char* out, const char* text) noexcept;
};

// Numbers and the like out of a text, e.g. xmltoi(node.getText(), 3). A null text gives the
// default, and so does a text that does not begin with such a thing, white space apart. Numbers are
// decimal and saturate; the decimal mark is a point in every locale.

/// The whole number at the head of a text.
VELMORA_API int xmltoi(const char* text, int defaultValue = 0) noexcept;
VELMORA_API long xmltol(const char* text, long defaultValue = 0) noexcept;
/// The number at the head of a text.
VELMORA_API double xmltof(const char* text, double defaultValue = 0.0) noexcept;
/// True or false by the first letter, in either case: t, y and 1 or f, n and 0.
VELMORA_API bool xmltob(const char* text, bool defaultValue = false) noexcept;
/// The text itself, or the default for null.
VELMORA_API const char* xmltoa(const char* text, const char* defaultValue = "") noexcept;
/// The first byte of a text; an empty text gives the default.
VELMORA_API char xmltoc(const char* text, char defaultValue = '\0') noexcept;

#endif  // VELMORA_SR_XML_DOCUMENT_H
