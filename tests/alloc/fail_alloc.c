// Preloaded into a process (LD_PRELOAD), fails the Nth of its allocations:
// every malloc, calloc, realloc and aligned allocation counts, the process's
// own, its libraries' and the module's. Set VOR_FAIL_ALLOC_AT=N (1-based; 0
// or unset fails none); with VOR_FAIL_ALLOC_REPORT=FILE the count of
// allocations made is written to FILE at exit.
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);
extern void* __libc_memalign(size_t, size_t);

static unsigned long g_count;
static unsigned long g_fail_at;

__attribute__((constructor)) static void Start(void) {
  const char* at = getenv("VOR_FAIL_ALLOC_AT");
  g_fail_at = at != NULL ? strtoul(at, NULL, 10) : 0;
}

__attribute__((destructor)) static void Report(void) {
  const char* path = getenv("VOR_FAIL_ALLOC_REPORT");
  if (path == NULL) return;
  char text[32];
  int length = snprintf(text, sizeof text, "%lu\n", g_count);
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return;
  if (write(fd, text, (size_t)length) != length) {
  }
  close(fd);
}

// Whether this allocation is the one to refuse.
static int Refused(void) {
  unsigned long n = __atomic_add_fetch(&g_count, 1, __ATOMIC_RELAXED);
  if (n != g_fail_at || g_fail_at == 0) return 0;
  errno = ENOMEM;
  return 1;
}

void* malloc(size_t size) { return Refused() ? NULL : __libc_malloc(size); }
void* calloc(size_t n, size_t size) { return Refused() ? NULL : __libc_calloc(n, size); }
void* realloc(void* p, size_t size) { return Refused() ? NULL : __libc_realloc(p, size); }
void* memalign(size_t alignment, size_t size) {
  return Refused() ? NULL : __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }
int posix_memalign(void** out, size_t alignment, size_t size) {
  void* p = memalign(alignment, size);
  if (p == NULL) return ENOMEM;
  *out = p;
  return 0;
}
