/* Put before the tool: lets its n-th request for memory fail, n in VELMORA_FAIL_AT. Writes to the
 * file in VELMORA_ALLOCATIONS how many there were. */
#include <errno.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>

#include "velmora_sr/velmora_sr.h"

/* Those of the C library, under the names that it exports besides. */
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

static atomic_long requests = 0;
static long fail_at = -1;

static int fails(void) {
  if (atomic_fetch_add(&requests, 1) + 1 != fail_at) return 0;
  errno = ENOMEM;
  return 1;
}

#define REQUEST(name, parameters, arguments)         \
  VELMORA_API void* name parameters {                \
    return fails() ? NULL : __libc_##name arguments; \
  }

REQUEST(malloc, (size_t size), (size))
REQUEST(calloc, (size_t count, size_t size), (count, size))
REQUEST(realloc, (void* block, size_t size), (block, size))
REQUEST(memalign, (size_t alignment, size_t size), (alignment, size))

VELMORA_API void* aligned_alloc(size_t alignment, size_t size) {
  return memalign(alignment, size);
}

VELMORA_API int posix_memalign(void** block, size_t alignment, size_t size) {
  void* taken = memalign(alignment, size);
  if (taken == NULL) return ENOMEM;
  *block = taken;
  return 0;
}

__attribute__((constructor)) static void start(void) {
  const char* number = getenv("VELMORA_FAIL_AT");
  if (number != NULL) fail_at = strtol(number, NULL, 10);
}

__attribute__((destructor)) static void end(void) {
  const char* path = getenv("VELMORA_ALLOCATIONS");
  FILE* file = path != NULL ? fopen(path, "w") : NULL;
  if (file == NULL) return;
  fprintf(file, "%ld\n", atomic_load(&requests));
  fclose(file);
}
