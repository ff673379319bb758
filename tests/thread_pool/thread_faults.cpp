#include "thread_faults.h"

#include <pthread.h>

#include <cerrno>

using velmora::test::threadFaults;

extern "C" {

int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __real_pthread_join(pthread_t, void**);
int __real_pthread_attr_init(pthread_attr_t*);
int __real_pthread_attr_destroy(pthread_attr_t*);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attribute, void* (*start)(void*),
                          void* arg) {
  if (threadFaults.created == threadFaults.failCreateAt) return EAGAIN;
  if (threadFaults.refuseStackSizes && attribute != nullptr) return EINVAL;
  if (threadFaults.created == 0 && attribute != nullptr)  // sanitizers change it for later ones
    pthread_attr_getstacksize(attribute, &threadFaults.stackSize);
  const int result = __real_pthread_create(thread, attribute, start, arg);
  if (result == 0) ++threadFaults.created;
  return result;
}

int __wrap_pthread_join(pthread_t thread, void** value) {
  const int result = __real_pthread_join(thread, value);
  if (result == 0) ++threadFaults.joined;
  return result;
}

int __wrap_pthread_attr_init(pthread_attr_t* attribute) {
  if (threadFaults.failAttributeInit) return ENOMEM;
  ++threadFaults.liveAttributes;
  return __real_pthread_attr_init(attribute);
}

int __wrap_pthread_attr_destroy(pthread_attr_t* attribute) {
  --threadFaults.liveAttributes;
  const int result = __real_pthread_attr_destroy(attribute);
  return threadFaults.failAttributeDestroy ? EINVAL : result;
}

}  // extern "C"
