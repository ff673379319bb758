// ln without the C library, whose results differ in the last bit from one platform to the next.
#ifndef VELMORA_SRC_REGISTRATION_NATURAL_LOGARITHM_H
#define VELMORA_SRC_REGISTRATION_NATURAL_LOGARITHM_H

namespace velmora {

/// ln(x) for finite x > 0 to a few units in the last place, the same bits on every IEEE machine.
double naturalLogarithm(double x);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_NATURAL_LOGARITHM_H
