/* check_file: asks libvor, through the C API of libvor-host, whether
 * /usr/bin/ls and this very process are critical to the OS. */
#include <stdio.h>
#include <unistd.h>
#include <vor/session.h>

static const char* answer(uint32_t code, bool critical) {
  return code != VOR_OK ? vor_result_message(code) : critical ? "critical" : "not critical";
}

int main(void) {
  vor_session* session;
  uint32_t code = vor_session_open(NULL, &session);
  if (code != VOR_OK) {
    fprintf(stderr, "check_file: %s (0x%08x)\n", vor_result_message(code), (unsigned)code);
    return 3;
  }
  bool critical;
  uint32_t file = vor_session_check_file(session, "/usr/bin/ls", &critical);
  printf("/usr/bin/ls: %s\n", answer(file, critical));
  uint32_t self = vor_session_check_pid(session, (uint32_t)getpid(), &critical);
  printf("pid %d (this process): %s\n", (int)getpid(), answer(self, critical));
  vor_session_close(session);
  return file == VOR_OK && self == VOR_OK ? 0 : 3;
}
