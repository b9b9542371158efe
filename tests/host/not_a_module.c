// Files that are not libvor modules, for the module trust suite, built from
// this one source: a shared library whose constructor leaves a marker file
// (so a test sees whether it ever ran), the same with the module's entry
// point by name alone (VOR_DEFINE_ENTRY_POINT), and a static program
// (VOR_STATIC_PROGRAM).
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

__attribute__((constructor)) static void LeaveMarker(void) {
  const char* path = getenv("VOR_TEST_MARKER");
  if (path != NULL) close(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
}

#ifdef VOR_DEFINE_ENTRY_POINT
unsigned zelGetObjectFactory(void) { return 0x80004001u; }
#endif

#ifdef VOR_STATIC_PROGRAM
int main(void) { return 0; }
#endif
