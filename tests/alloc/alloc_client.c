// A small C client of libvor-host, run by alloc_sweep.sh with one of its
// allocations refused: it opens a session on a storage holding a process
// list, asks about files and processes, reads the list status and closes.
// Exit 0: every answer it got was true, or was a failure that did not read
// critical; 1: a lie (printed). A crash or an abort is the sweep's to see.
// alloc_client STORAGE_DIR LISTED_PID
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <vor/session.h>

static int lies;
#define LIE(...)                      \
  do {                                \
    fprintf(stderr, "lie: " __VA_ARGS__); \
    fputc('\n', stderr);              \
    ++lies;                           \
  } while (0)

static void Line(void* context, uint32_t level, const char* text) {
  (void)level;
  (void)text;
  ++*(int*)context;
}

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  vor_session_options options = {.size = sizeof options};
  options.storage_dir = argv[1];
  const uint32_t listed = (uint32_t)strtoul(argv[2], NULL, 10);
  vor_session* session = NULL;
  uint32_t code = vor_session_open(&options, &session);
  if (code != VOR_OK) {
    if (session != NULL) LIE("open failed with 0x%08x but handed out a session", (unsigned)code);
    return lies != 0;
  }
  bool critical = true;
  code = vor_session_check_file(session, "/usr/bin/ls", &critical);
  if (code != VOR_OK && critical) LIE("a failed file check (0x%08x) reads critical", (unsigned)code);
  if (code == VOR_OK && !critical) LIE("/usr/bin/ls answered not critical");
  code = vor_session_check_file(session, "/tmp/vor-not-critical", &critical);
  if (critical) LIE("/tmp/vor-not-critical reads critical (0x%08x)", (unsigned)code);

  // The listed process is critical, or its check failed, or the last load
  // of the list said it failed: never a silent "not critical".
  vor_process_list_info info = {.size = sizeof info};
  const uint32_t state = vor_session_process_list(session, &info);
  const bool loadFailed = state != VOR_OK || info.last_result != VOR_OK;
  vor_list_status status;
  code = vor_session_list_status(session, &status);
  if (code == VOR_OK && state == VOR_OK && (status.state == VOR_LIST_FAILED) != loadFailed) {
    LIE("the two list statuses disagree on the last load");
  }
  code = vor_session_check_pid(session, listed, &critical);
  if (code != VOR_OK && critical) LIE("a failed pid check (0x%08x) reads critical", (unsigned)code);
  if (code == VOR_OK && !critical && !loadFailed) {
    LIE("the listed process reads not critical and the list load reported no failure");
  }
  int lines = 0;
  code = vor_session_explain_pid(session, listed, &critical, Line, &lines);
  if (code != VOR_OK && critical) LIE("a failed explained check (0x%08x) reads critical", (unsigned)code);
  code = vor_session_check_pid(session, (uint32_t)getpid(), &critical);
  if (code != VOR_OK && critical) LIE("a failed self check (0x%08x) reads critical", (unsigned)code);
  code = vor_session_reload(session);
  if (code == VOR_OK && vor_session_process_list(session, &info) == VOR_OK && info.last_result != VOR_OK) {
    LIE("a reload that succeeded left a failed last load");
  }
  code = vor_session_check_pid(session, listed, &critical);
  if (code != VOR_OK && critical) LIE("a failed pid check after reload reads critical");
  vor_session_close(session);
  return lies != 0;
}
