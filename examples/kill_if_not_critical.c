/* kill_if_not_critical: terminates a process only when libvor says it is not
 * critical, and only the very process it asked about. */
#define _GNU_SOURCE
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vor/session.h>

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: kill_if_not_critical PID\n");
    return 2;
  }
  pid_t pid = (pid_t)strtol(argv[1], NULL, 10);
  int pidfd = (int)syscall(SYS_pidfd_open, pid, 0); /* holds this process, not its pid */
  if (pidfd < 0) {
    perror("pidfd_open");
    return 3;
  }
  vor_session* session = NULL;
  bool critical = true;
  uint32_t code = vor_session_open(NULL, &session);
  if (code == VOR_OK) code = vor_session_check_pidfd(session, pidfd, &critical);
  if (code != VOR_OK) {
    fprintf(stderr, "not asked: %s (0x%08x)\n", vor_result_message(code), (unsigned)code);
  } else if (critical) {
    printf("%d is critical: left alone\n", (int)pid);
  } else if (syscall(SYS_pidfd_send_signal, pidfd, SIGTERM, NULL, 0) == 0) {
    printf("%d terminated\n", (int)pid);
  } else {
    perror("pidfd_send_signal"); /* ESRCH: it exited meanwhile; no other process is hit */
  }
  vor_session_close(session);
  close(pidfd);
  return code == VOR_OK ? 0 : 3;
}
