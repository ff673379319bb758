// Scalar functions of the kd-trees: the definition that every variant must reproduce.
#ifndef VELMORA_SRC_REGISTRATION_MATCHING_FUNCTIONS_H
#define VELMORA_SRC_REGISTRATION_MATCHING_FUNCTIONS_H

#include <cstdint>

namespace velmora::scalar {

int32_t descriptorDistance(const int32_t* a, const int32_t* b);
void descriptorSums(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                    int32_t* sums);
void descriptorSpreads(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                       const int32_t* means, int32_t* spreads);
int32_t firstSmallest(const int32_t* values, int32_t count);

}  // namespace velmora::scalar

#endif  // VELMORA_SRC_REGISTRATION_MATCHING_FUNCTIONS_H
