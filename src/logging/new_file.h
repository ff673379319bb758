// Frame dumps into files that must not exist yet.
#ifndef VELMORA_SRC_LOGGING_NEW_FILE_H
#define VELMORA_SRC_LOGGING_NEW_FILE_H

#include <cstdint>

namespace velmora {

/// dump_to_file into a new file that only its owner may read and write. False, with nothing done or
/// said, when the name is taken: by a file, or by a link, which is not followed.
bool dumpToNewFile(const char* path, const uint8_t* plane1, int size1, const uint8_t* plane2,
                   int size2);

}  // namespace velmora

#endif  // VELMORA_SRC_LOGGING_NEW_FILE_H
