/* Put before the tool: lets its n-th request for memory fail, n in VELMORA_FAIL_AT. With
 * VELMORA_ALLOCATIONS it instead writes to that file, one line each, the numbers of the requests
 * within calls of the library, "FIRST LAST", and of all, "1 LAST", at the end. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "velmora_sr/report.h"
#include "velmora_sr/velmora_sr.h"

/* Those of the C library, under the names that it exports besides. */
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

static atomic_long requests = 0;
static long fail_at = -1;

static int fails(void) {
  return atomic_fetch_add(&requests, 1) + 1 == fail_at;
}

static void* failed(void) {
  errno = ENOMEM;
  return NULL;
}

VELMORA_API void* malloc(size_t size) {
  return fails() ? failed() : __libc_malloc(size);
}

VELMORA_API void* calloc(size_t count, size_t size) {
  return fails() ? failed() : __libc_calloc(count, size);
}

VELMORA_API void* realloc(void* block, size_t size) {
  return fails() ? failed() : __libc_realloc(block, size);
}

VELMORA_API void* memalign(size_t alignment, size_t size) {
  return fails() ? failed() : __libc_memalign(alignment, size);
}

VELMORA_API void* aligned_alloc(size_t alignment, size_t size) {
  return memalign(alignment, size);
}

VELMORA_API int posix_memalign(void** block, size_t alignment, size_t size) {
  void* taken = memalign(alignment, size);
  if (taken == NULL) return ENOMEM;
  *block = taken;
  return 0;
}

/* Appends a line without asking for memory. */
static void note(long first, long last) {
  const char* path = getenv("VELMORA_ALLOCATIONS");
  static FILE* file;
  static char buffer[4096];
  if (path == NULL) return;
  if (file == NULL) {
    file = fopen(path, "w");
    if (file == NULL) return;
    setvbuf(file, buffer, _IOLBF, sizeof buffer);
  }
  fprintf(file, "%ld %ld\n", first, last);
}

__attribute__((constructor)) static void start(void) {
  const char* number = getenv("VELMORA_FAIL_AT");
  if (number != NULL) fail_at = strtol(number, NULL, 10);
}

__attribute__((destructor)) static void end(void) {
  note(1, atomic_load(&requests));
}

#define LIBRARY_CALL(name, parameters, arguments)                                  \
  VELMORA_API int32_t name parameters {                                            \
    int32_t(*call) parameters;                                                     \
    const long before = atomic_load(&requests);                                    \
    int32_t result;                                                                \
    *(void**)&call = dlsym(RTLD_NEXT, #name);                                      \
    result = call arguments;                                                       \
    if (atomic_load(&requests) > before) note(before + 1, atomic_load(&requests)); \
    return result;                                                                 \
  }

LIBRARY_CALL(VELMORA_SR_CreateFromMemory,
             (const Velmora_SR_CreateParams* params, const Velmora_SR_Tuning* tuning,
              SR_ParamsPublic** handle),
             (params, tuning, handle))
LIBRARY_CALL(VELMORA_SR_Register,
             (SR_ParamsPublic * handle, const Velmora_SR_InputFrames* input, int32_t count),
             (handle, input, count))
LIBRARY_CALL(VELMORA_SR_Process,
             (SR_ParamsPublic * handle, const Velmora_SR_InputFrames* input, int32_t count,
              Velmora_SR_OutputFrame* output),
             (handle, input, count, output))
