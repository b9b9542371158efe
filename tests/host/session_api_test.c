// The C API of libvor-host, called from C: bad arguments, answers by entry
// and the spelling that decided, checks from threads while the session
// reloads, a reload that puts a changed vor_proc.xms in force while a broken
// one leaves the list in force alone, and checks pinned to their process.
#define _GNU_SOURCE
#include <pthread.h>
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vor/session.h>

static int failures;
#define EXPECT(cond)                                              \
  do {                                                            \
    if (!(cond)) {                                                \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                 \
    }                                                             \
  } while (0)

static void BadArguments(void) {
  vor_session* session = (vor_session*)1;
  bool critical = true;
  EXPECT(vor_session_open(NULL, NULL) == VOR_E_INVALID_ARGUMENT);
  EXPECT(vor_session_check_file(NULL, "/usr/bin/ls", &critical) == VOR_E_INVALID_ARGUMENT);
  EXPECT(!critical);
  EXPECT(vor_session_check_pid(NULL, 1, NULL) == VOR_E_INVALID_ARGUMENT);
  EXPECT(vor_session_reload(NULL) == VOR_E_INVALID_ARGUMENT);
  EXPECT(vor_session_list_status(NULL, NULL) == VOR_E_INVALID_ARGUMENT);
  EXPECT(vor_session_module_version(NULL) == NULL);
  vor_session_close(NULL);

  vor_session_options options = {.size = sizeof options};
  options.module_path = "/nonexistent/libvor.so";
  EXPECT(vor_session_open(&options, &session) == VOR_E_MODULE_NOT_FOUND && session == NULL);

  EXPECT(vor_session_open(NULL, &session) == VOR_OK);
  EXPECT(vor_session_check_file(session, NULL, &critical) == VOR_E_INVALID_ARGUMENT);
  EXPECT(vor_session_explain_pid(session, 1, &critical, NULL, NULL) == VOR_E_INVALID_ARGUMENT);
  vor_session_close(session);
}

// The header's version macros and vor_host_version() tell one version (the
// library file's name is the Python test's).
static void Versions(void) {
  char macros[32];
  snprintf(macros, sizeof macros, "%d.%d.%d", VOR_HOST_VERSION_MAJOR, VOR_HOST_VERSION_MINOR,
           VOR_HOST_VERSION_PATCH);
  EXPECT(strcmp(vor_host_version(), macros) == 0);
}

// Options of older and newer callers, and the text of a failed open in the
// caller's buffer (cut to its size, left alone by a caller that has none).
static void OptionsAndOpenErrors(void) {
  const char* bad_flags[] = {"no-equals-sign", NULL};
  const struct {
    size_t size, buffer;
    const char* storage;
    const char* const* flags;
    int newer_byte;
    uint32_t code;
    const char* text;  // what the buffer holds
  } rows[] = {
      {0, 96, NULL, NULL, 0, VOR_E_INVALID_ARGUMENT, "stale"},
      {sizeof(size_t), 0, "/nonexistent-st", NULL, 0, VOR_OK, "stale"},
      {offsetof(vor_session_options, error_buffer), 0, "/nonexistent-st", NULL, 0,
       VOR_E_PATH_NOT_FOUND, "stale"},
      {sizeof(vor_session_options), 96, "/nonexistent-st", NULL, 0, VOR_E_PATH_NOT_FOUND,
       "cannot open storage directory '/nonexistent-st': No such file or directory"},
      {sizeof(vor_session_options), 46, "/nonexistent-\xc3\xa9", NULL, 0, VOR_E_PATH_NOT_FOUND,
       "cannot open storage directory '/nonexistent-"},  // not half an e-acute
      {sizeof(vor_session_options), 96, NULL, bad_flags, 0, VOR_E_INVALID_ARGUMENT,
       "feature flag 'no-equals-sign' is not NAME=VALUE"},
      {sizeof(vor_session_options) + 8, 96, NULL, NULL, 0, VOR_OK, ""},
      {sizeof(vor_session_options) + 8, 96, NULL, NULL, 3, VOR_E_INVALID_ARGUMENT,
       "options: byte 99 is not zero; this libvor-host knows the first 96 only"},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    struct {
      vor_session_options known;
      unsigned char newer[8];
    } options = {{.storage_dir = rows[i].storage, .flags = rows[i].flags}, {0}};
    char error[96] = "stale";
    options.known.size = rows[i].size;
    options.known.error_buffer = error;
    options.known.error_buffer_size = rows[i].buffer;
    if (rows[i].newer_byte) options.newer[rows[i].newer_byte] = 1;
    vor_session* session = NULL;
    const uint32_t code = vor_session_open(&options.known, &session);
    EXPECT(code == rows[i].code && (code == VOR_OK) == (session != NULL));
    EXPECT(strcmp(error, rows[i].text) == 0);
    vor_session_close(session);
  }
}

// A folder with the link b -> /usr/bin in it, and paths through it:
// b/ls, b/ls.not, b/../bin/ls, b, b/.
static char linked_dir[] = "/tmp/vor-entries-XXXXXX";
static char linked[5][96];

static void MakeLinked(void) {
  EXPECT(mkdtemp(linked_dir) != NULL);
  const char* names[] = {"b/ls", "b/ls.not", "b/../bin/ls", "b", "b/"};
  for (int i = 0; i < 5; ++i) snprintf(linked[i], 96, "%s/%s", linked_dir, names[i]);
  EXPECT(symlink("/usr/bin", linked[3]) == 0);
}

// Each path of `linked` with its answer by entry and the spelling that
// decided; with `exact`, the module's answer for the letter.
static void ExpectEntries(vor_session* session, bool exact) {
  const struct {
    bool critical;
    const char* as;
  } rows[5] = {{!exact, exact ? "" : "/usr/bin/ls"}, {false, ""},
               {!exact, exact ? "" : "/usr/bin/ls"}, {false, ""}, {true, ""}};
  for (int i = 0; i < 5; ++i) {
    bool critical = !rows[i].critical;
    char as[32] = "stale";
    EXPECT(vor_session_check_file_as(session, linked[i], &critical, as, sizeof as) == VOR_OK);
    EXPECT(critical == rows[i].critical && strcmp(as, rows[i].as) == 0);
  }
}

static void Entries(void) {
  vor_session_options options = {.size = sizeof options};
  for (int exact = 0; exact < 2; ++exact) {
    options.exact = exact;
    vor_session* session = NULL;
    EXPECT(vor_session_open(&options, &session) == VOR_OK);
    if (session == NULL) continue;
    ExpectEntries(session, exact);
    bool critical = true;
    char as[32];
    EXPECT(vor_session_check_file_as(session, "/usr/bin/\xff", &critical, as, sizeof as) ==
               VOR_E_INVALID_SYMBOL && !critical && as[0] == '\0');
    EXPECT(vor_session_check_file_as(session, "/usr/bin/ls", &critical, NULL, 8) ==
           VOR_E_INVALID_ARGUMENT && !critical);
    EXPECT(vor_session_check_file_as(session, "/usr/bin/ls", &critical, as, 0) ==
           VOR_E_INVALID_ARGUMENT);
    // "/usr/bin/ls" needs 12 bytes: too small never reads critical.
    const uint32_t small = vor_session_check_file_as(session, linked[0], &critical, as, 11);
    EXPECT(exact ? small == VOR_OK : small == VOR_E_BUFFER_TOO_SMALL && !critical);
    EXPECT(as[0] == '\0');
    EXPECT(vor_session_check_file_as(session, linked[0], &critical, as, 12) == VOR_OK &&
           critical != exact);
    vor_session_close(session);
  }
}

static void WriteList(const char* dir, const char* text) {
  char path[512];
  snprintf(path, sizeof path, "%s/vor_proc.xms", dir);
  FILE* file = fopen(path, "w");
  fputs(text, file);
  fclose(file);
}

static void CountLine(void* context, uint32_t level, const char* line) {
  (void)level;
  (void)line;
  ++*(int*)context;
}

// A child running /bin/sleep, once its exec is done.
static pid_t StartSleep(void) {
  pid_t child = fork();
  if (child == 0) {
    execl("/bin/sleep", "sleep", "30", (char*)NULL);
    _exit(127);
  }
  char exe[64], image[4096];
  snprintf(exe, sizeof exe, "/proc/%d/exe", (int)child);
  for (int i = 0; i < 1000; ++i) {
    ssize_t n = readlink(exe, image, sizeof image - 1);
    if (n > 0 && (image[n] = '\0', strstr(image, "/sleep") != NULL)) break;
    usleep(5000);
  }
  return child;
}

// The trace callback that ends the process being asked about, mid-question.
static pid_t g_victim;
static void KillVictim(void* context, uint32_t level, const char* line) {
  (void)context;
  (void)level;
  if (g_victim > 0 && strstr(line, "parent process ID is") != NULL) {
    kill(g_victim, SIGKILL);
    waitpid(g_victim, NULL, 0);
    g_victim = 0;
  }
}

static void* ThreadId(void* arg) {
  __atomic_store_n((pid_t*)arg, (pid_t)syscall(SYS_gettid), __ATOMIC_SEQ_CST);
  usleep(300000);
  return NULL;
}

static void PinnedChecks(void) {
  char dir[] = "/tmp/vor-session-XXXXXX";
  EXPECT(mkdtemp(dir) != NULL);
  WriteList(dir, "<vor_process_list><vor_process_entry flags=\"1\" path=\"/usr/bin/sleep\"/>"
                 "</vor_process_list>");
  vor_session_options options = {.size = sizeof options};
  options.storage_dir = dir;
  options.trace_level = VOR_TRACE_INFO;
  options.trace = KillVictim;
  vor_session* session = NULL;
  EXPECT(vor_session_open(&options, &session) == VOR_OK);
  if (session == NULL) return;
  bool critical = false;

  // A listed live process through its pidfd; once killed and reaped, the
  // same descriptor fails, whatever process the pid names by then.
  pid_t child = StartSleep();
  int pidfd = (int)syscall(SYS_pidfd_open, child, 0);
  EXPECT(pidfd >= 0);
  EXPECT(vor_session_check_pidfd(session, pidfd, &critical) == VOR_OK && critical);
  kill(child, SIGKILL);
  struct pollfd exited = {pidfd, POLLIN, 0};
  EXPECT(poll(&exited, 1, 5000) == 1);  // exited, not yet reaped
  EXPECT(vor_session_check_pidfd(session, pidfd, &critical) == VOR_E_FILE_NOT_FOUND && !critical);
  waitpid(child, NULL, 0);
  critical = true;
  EXPECT(vor_session_check_pidfd(session, pidfd, &critical) == VOR_E_FILE_NOT_FOUND && !critical);
  close(pidfd);

  // Not a pidfd: a regular file, a closed descriptor, no session.
  int file = open("/etc/hostname", O_RDONLY | O_CLOEXEC);
  critical = true;
  EXPECT(vor_session_check_pidfd(session, file, &critical) == VOR_E_INVALID_ARGUMENT && !critical);
  close(file);
  EXPECT(vor_session_check_pidfd(session, file, &critical) == VOR_E_INVALID_ARGUMENT);
  EXPECT(vor_session_check_pidfd(NULL, 0, &critical) == VOR_E_INVALID_ARGUMENT);

  // A process that ends while the module reads it was not the one answered
  // about: by pid and by pidfd alike, the answer gives way to the failure.
  g_victim = child = StartSleep();
  critical = true;
  EXPECT(vor_session_check_pid(session, (uint32_t)child, &critical) == VOR_E_FILE_NOT_FOUND &&
         !critical && g_victim == 0);
  g_victim = child = StartSleep();
  pidfd = (int)syscall(SYS_pidfd_open, child, 0);
  critical = true;
  EXPECT(vor_session_check_pidfd(session, pidfd, &critical) == VOR_E_FILE_NOT_FOUND &&
         !critical && g_victim == 0);
  close(pidfd);

  // A thread that leads no thread group cannot be pinned: asked as it is.
  pid_t tid = 0;
  pthread_t thread;
  pthread_create(&thread, NULL, ThreadId, &tid);
  while (__atomic_load_n(&tid, __ATOMIC_SEQ_CST) == 0) usleep(1000);
  critical = true;
  EXPECT(vor_session_check_pid(session, (uint32_t)tid, &critical) == VOR_OK && !critical);
  pthread_join(thread, NULL);
  vor_session_close(session);
  char list[512];
  snprintf(list, sizeof list, "%s/vor_proc.xms", dir);
  EXPECT(unlink(list) == 0 && rmdir(dir) == 0);
}

// Checks on two threads while the main thread reloads good lists and broken
// ones: the listed process is critical throughout (a broken list never
// replaces the one in force), entries and this process keep their answers,
// and no check ever fails.
struct Checker {
  vor_session* session;
  pid_t listed;
  int stop;
};

static void* CheckUntilStopped(void* arg) {
  struct Checker* c = arg;
  while (!__atomic_load_n(&c->stop, __ATOMIC_SEQ_CST)) {
    bool critical = false, tmp = true, self = false;
    EXPECT(vor_session_check_pid(c->session, (uint32_t)c->listed, &critical) == VOR_OK && critical);
    EXPECT(vor_session_check_file(c->session, "/tmp/not-critical", &tmp) == VOR_OK && !tmp);
    EXPECT(vor_session_check_pid(c->session, (uint32_t)getpid(), &self) == VOR_OK && self);
    ExpectEntries(c->session, false);
  }
  return NULL;
}

// The list in force and the last load, through reloads of good and broken
// lists, as both statuses and the caller's error buffer tell them.
static void ListsAndReloads(void) {
  char dir[] = "/tmp/vor-session-XXXXXX", error[256] = "stale";
  EXPECT(mkdtemp(dir) != NULL);
  const char* lists[] = {
      "<vor_process_list><vor_process_entry flags=\"1\" path=\"/usr/bin/sleep\"/>"
      "<vor_process_entry flags=\"2\" parent_path=\"/sbin/init\"/></vor_process_list>",
      "<vor_process_list><vor_process_entry flags=\"1\"",
      "<vor_process_list><vor_process_entry flags=\"3\" path=\"/usr/bin/sleep\" parent_path=\"/x\"/>"
      "<vor_process_entry flags=\"1\" path=\"/usr/bin/sleep\"/></vor_process_list>",
      "<vor_other/>"};
  vor_session_options options = {.size = sizeof options, .storage_dir = dir, .error_buffer = error,
                                 .error_buffer_size = sizeof error};
  struct Checker checker = {NULL, StartSleep(), 0};
  vor_list_status status;
  vor_process_list_info info = {.size = sizeof info};
  bool critical = true;
  int lines = 0;
  EXPECT(vor_session_open(&options, &checker.session) == VOR_OK);
  if (checker.session == NULL) return;
  vor_session* session = checker.session;
  EXPECT(vor_session_list_status(session, &status) == VOR_OK && status.state == VOR_LIST_NONE);
  EXPECT(vor_session_check_pid(session, (uint32_t)checker.listed, &critical) == VOR_OK && !critical);
  WriteList(dir, lists[0]);
  EXPECT(vor_session_reload(session) == VOR_OK && error[0] == '\0');
  EXPECT(vor_session_list_status(session, &status) == VOR_OK && status.state == VOR_LIST_LOADED &&
         status.entries == 2);
  EXPECT(vor_session_explain_pid(session, (uint32_t)checker.listed, &critical, CountLine, &lines) ==
             VOR_OK && critical && lines > 0);
  pthread_t threads[2];
  for (int i = 0; i < 2; ++i) pthread_create(&threads[i], NULL, CheckUntilStopped, &checker);
  for (int round = 1; round < 40; ++round) {
    const int which = round % 4;
    WriteList(dir, lists[which]);
    const uint32_t code = vor_session_reload(session);
    EXPECT(which % 2 == 0 ? code == VOR_OK : code != VOR_OK);
    EXPECT(vor_session_process_list(session, &info) == VOR_OK && info.in_force == VOR_LIST_LOADED &&
           info.entries == 2 && (info.last_result == VOR_OK) == (which % 2 == 0));
    if (which != 1) continue;  // the broken document: where it broke, in both statuses (its text
                               // in the error buffer is the Python test's)
    EXPECT(code == 0x8000005au && strstr(error, "line 1, column 46") != NULL);
    EXPECT(info.last_line == 1 && info.last_column == 46 && info.last_description[0] != '\0');
    EXPECT(vor_session_list_status(session, &status) == VOR_OK && status.state == VOR_LIST_FAILED &&
           status.result == 0x8000005au && status.line == 1);
  }
  __atomic_store_n(&checker.stop, 1, __ATOMIC_SEQ_CST);
  for (int i = 0; i < 2; ++i) pthread_join(threads[i], NULL);
  // An older caller's smaller struct is filled to its end and no further.
  struct {
    vor_process_list_info info;
    char guard;
  } older = {.info = {.size = offsetof(vor_process_list_info, last_result)}, .guard = 'g'};
  memset(older.info.last_description, 'x', sizeof older.info.last_description);
  EXPECT(vor_session_process_list(session, &older.info) == VOR_OK && older.info.entries == 2 &&
         older.info.last_result == 0 && older.info.last_description[0] == 'x');
  older.info.size = offsetof(vor_process_list_info, entries);
  EXPECT(vor_session_process_list(session, &older.info) == VOR_E_INVALID_ARGUMENT);
  EXPECT(vor_session_process_list(session, NULL) == VOR_E_INVALID_ARGUMENT);
  vor_session_close(session);

  // Opened on a broken list: the open succeeds, the load failed, nothing in force.
  WriteList(dir, lists[1]);
  EXPECT(vor_session_open(&options, &session) == VOR_OK && error[0] == '\0');
  EXPECT(vor_session_list_status(session, &status) == VOR_OK && status.state == VOR_LIST_FAILED &&
         status.column > 1 && status.description[0] != '\0');
  EXPECT(vor_session_process_list(session, &info) == VOR_OK && info.in_force == VOR_LIST_NONE &&
         info.entries == 0 && info.last_result == 0x8000005au);
  vor_session_close(session);
  kill(checker.listed, SIGKILL);
  waitpid(checker.listed, NULL, 0);
  char list[512];
  snprintf(list, sizeof list, "%s/vor_proc.xms", dir);
  EXPECT(unlink(list) == 0 && rmdir(dir) == 0);
}

int main(void) {
  BadArguments();
  Versions();
  OptionsAndOpenErrors();
  MakeLinked();
  Entries();
  ListsAndReloads();
  EXPECT(unlink(linked[3]) == 0 && rmdir(linked_dir) == 0);
  PinnedChecks();
  printf("%d passed, %d failed\n", failures ? 0 : 1, failures ? 1 : 0);
  return failures ? 1 : 0;
}
