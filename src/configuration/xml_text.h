// Texts of a document: names without regard to case, entities.
#ifndef VELMORA_SRC_CONFIGURATION_XML_TEXT_H
#define VELMORA_SRC_CONFIGURATION_XML_TEXT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "velmora_sr/xml_document.h"

namespace velmora {

/// ASCII letters alone have a case, in every locale.
bool equalIgnoringCase(std::string_view a, std::string_view b);

/// Decodes the entities and character references of a text or an attribute value into `decoded`.
/// Returns the place of the first "&" that begins none, or nothing.
std::optional<std::size_t> fromXMLString(std::string_view raw, XMLCharEncoding encoding,
                                         std::string& decoded);

/// The entity of one of the five special characters; empty for all others.
std::string_view entityOf(char character);

}  // namespace velmora

#endif  // VELMORA_SRC_CONFIGURATION_XML_TEXT_H
