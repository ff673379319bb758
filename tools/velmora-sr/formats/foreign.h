// Files of formats that the tool does not read.
#ifndef VELMORA_TOOL_FORMATS_FOREIGN_H
#define VELMORA_TOOL_FORMATS_FOREIGN_H

#include "errors.h"
#include "streams.h"

namespace velmora::tool {

/// Says what the source seems to hold, by its first bytes, and which command makes of it what the
/// tool reads.
Failure foreignContent(ByteSource& source);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_FOREIGN_H
