// A registration in words and as JSON.
#ifndef VELMORA_TOOL_REGISTRATION_REGISTRATION_REPORT_H
#define VELMORA_TOOL_REGISTRATION_REGISTRATION_REPORT_H

#include <string>

#include "engine/registration.h"

namespace velmora::tool {

/// Several lines for people.
std::string reportText(const RegistrationReport& report, const std::string& first,
                       const std::string& second);

/// One line with one object, whose keys docs/register-json.md describes.
std::string reportJson(const RegistrationReport& report, const std::string& first,
                       const std::string& second);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_REGISTRATION_REGISTRATION_REPORT_H
