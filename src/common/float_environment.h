// The floating-point environment that results are computed in, whatever the host has set.
#ifndef VELMORA_SRC_COMMON_FLOAT_ENVIRONMENT_H
#define VELMORA_SRC_COMMON_FLOAT_ENVIRONMENT_H

#include <cfenv>

namespace velmora {

/// While it lives, its thread rounds to nearest, keeps subnormal numbers and traps nothing. At its
/// end everything is as before, the host's exception flags among it.
class DefaultFloatEnvironment {
 public:
  DefaultFloatEnvironment() {
    std::fegetenv(&previous_);
    std::fesetenv(FE_DFL_ENV);
  }
  ~DefaultFloatEnvironment() { std::fesetenv(&previous_); }
  DefaultFloatEnvironment(const DefaultFloatEnvironment&) = delete;
  DefaultFloatEnvironment& operator=(const DefaultFloatEnvironment&) = delete;

 private:
  std::fenv_t previous_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_COMMON_FLOAT_ENVIRONMENT_H
