/* libvor-host: the reference host as a C API, for programs in any language.
 *
 * A session loads libvor.so, gives it the reference host's services (heap
 * allocator, tracer, POSIX files, a storage directory, pugixml, feature flags
 * and environment values), creates and verifies the criticality service, and
 * answers checks from any number of threads at once.
 *
 *   vor_session* session;
 *   if (vor_session_open(NULL, &session) == VOR_OK) {
 *     bool critical;
 *     if (vor_session_check_file(session, "/usr/bin/ls", &critical) == VOR_OK)
 *       printf("%s\n", critical ? "critical" : "not critical");
 *     vor_session_close(session);
 *   }
 *
 * Every function returns a result code of <vor/result.h>; none aborts or
 * throws into the caller. A null or otherwise unusable argument gives
 * VOR_E_INVALID_ARGUMENT; memory that ran out VOR_E_OUT_OF_MEMORY; besides
 * the codes each function names, the module's own failures pass through
 * (vor_result_message gives the text of any). On a failure `*critical` is
 * false: a question that was not answered is never reported critical.
 *
 * Threads. On one session, the checks (vor_session_check_*,
 * vor_session_explain_*), vor_session_reload, vor_session_list_status,
 * vor_session_process_list and vor_session_module_version may run from any
 * number of threads at once: a check that meets a reload is answered whole
 * by the instance in force before it or by the one after, and reloads run
 * one at a time. vor_session_open and vor_session_close of a session run
 * while no other call uses that session. vor_host_version and
 * vor_result_message may run at any time. Sessions are independent.
 *
 * Lifetimes. vor_session_open copies every option string and array: they
 * may be freed once it returns. The error buffer, the trace callback and its
 * context are used until vor_session_close. Strings the library returns are
 * static (vor_result_message, vor_host_version) or live until
 * vor_session_close (vor_session_module_version).
 *
 * Callbacks run on the thread of the call during which the module writes the
 * line: the trace callback on the thread that opens, checks, reloads or
 * closes (from several threads at once when checks run at once, so it must
 * be thread-safe), an explanation callback on the thread of its
 * vor_session_explain_* call, before it returns. A callback must not reload
 * or close the session it reports on.
 *
 * Misuse is undefined behaviour, as with free(3): a session used after
 * vor_session_close or closed twice, a pointer that no vor_session_open
 * returned, vor_session_close while another call uses the session, a buffer
 * smaller than the size given with it.
 *
 * Files are answered by entry. The module knows each file by the letter of
 * one path; on a machine whose top-level directories are links (/bin ->
 * usr/bin) one file has several spellings. The entry a path names is the one
 * a program reaches when it opens the path: the directory part resolved as
 * the kernel resolves it (relative to the working directory, every symbolic
 * link and ".." in order), plus the final name, never followed (a link named
 * sh is its own entry, not the shell it leads to; a final "." or ".." names
 * the directory it leads to, in its parent). The session asks the module
 * about the path as given first (made absolute, "." components and repeated
 * slashes removed, ".." kept); when that is not critical, about the entry's
 * other spellings on this machine: its physical path, and its path through
 * each symbolic link to a directory that stands in "/" (read when the session
 * opens and at each reload). Critical if any spelling is. Not followed: hard
 * links (another name of the same file is another entry), bind mounts (the
 * path through the mount as typed), links below the top level other than
 * those the path itself goes through. Where the directory part leads nowhere
 * (absent, no permission) the answer for the path as given stands; a path
 * ending in "/" names no file and gets the module's answer for it, which is
 * critical for every such path. Under a root other than "/" (options.root)
 * the answers are the module's letter: the entries are this machine's, not
 * the root's. Resolutions of directories are remembered until the next
 * reload (32768 directories at most, some 4 MB): a link or directory changed
 * since is seen after it. */
#ifndef VOR_SESSION_H_
#define VOR_SESSION_H_

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "vor/result.h"

#if defined(VOR_HOST_BUILDING)
#define VOR_HOST_API __attribute__((visibility("default")))
#else
#define VOR_HOST_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of libvor-host this header belongs to. MAJOR is the ABI, the
 * 0 of the SONAME libvor-host.so.0: it changes only when something is taken
 * away or changed. MINOR grows when something is added, PATCH with fixes.
 * vor_host_version() tells the library a program runs with; its major equals
 * the one the program was built with, and a program that uses an addition
 * needs at least the minor that brought it. */
#define VOR_HOST_VERSION_MAJOR 0
#define VOR_HOST_VERSION_MINOR 8
#define VOR_HOST_VERSION_PATCH 0

typedef struct vor_session vor_session;

/* Receives one trace line of the module (no line end) with its level. */
typedef void (*vor_trace_fn)(void* context, uint32_t level, const char* line);

/* Trace levels of the module's lines. */
#define VOR_TRACE_NONE 0u
#define VOR_TRACE_ERROR 300u
#define VOR_TRACE_WARNING 500u
#define VOR_TRACE_INFO 700u
#define VOR_TRACE_DEBUG 800u

/* Options of a session. Zero-initialise the struct and set `size`; a field
 * left zero (or NULL) takes its default.
 *
 * The struct grows at its end. `size` is sizeof(vor_session_options) as the
 * caller was built with: at least sizeof(size_t) (the field itself), else
 * VOR_E_INVALID_ARGUMENT. A field that does not lie wholly within `size`
 * takes its default, so an older caller's smaller struct is read safely. A
 * newer caller's larger struct is accepted when every byte past the fields
 * this library knows is zero; a non-zero one is an option this library
 * cannot honour, and vor_session_open refuses it with
 * VOR_E_INVALID_ARGUMENT rather than drop it. */
typedef struct vor_session_options {
  size_t size;
  /* The libvor.so to load; NULL: the installed one, found beside libvor-host.
   * A path with a '/': a bare name is refused, never searched for. When the
   * effective user is root, the module loads only if root alone can change
   * it (the file and its folder owned by root and not writable by group or
   * others, every folder above owned by root and either not writable by group
   * or others or sticky) and it is an x86-64 ELF shared object defining
   * zelGetObjectFactory, read without loading it; otherwise
   * VOR_E_ACCESS_DENIED. */
  const char* module_path;
  /* The storage directory vor_proc.xms is read from; NULL: an empty storage. */
  const char* storage_dir;
  /* Absolute paths of the host's file layer (release files, the test sample)
   * are read below this directory; NULL: "/". */
  const char* root;
  /* NULL-terminated arrays of "NAME=VALUE": host feature flags, and host
   * environment values for %NAME% expansion. NULL: none. A text without '='
   * gives VOR_E_INVALID_ARGUMENT. The library hands every name to the module
   * as it is and checks none: a name the module never reads (it reads the
   * flag disable_vor.process.namespaces.workaround and the value
   * ProductType) is ignored, without a warning. */
  const char* const* flags;
  const char* const* environment;
  /* The module's lines up to this level go to `trace`; VOR_TRACE_NONE: none. */
  uint32_t trace_level;
  vor_trace_fn trace;
  void* trace_context;
  /* true: ask the module about each path exactly as given and nothing else,
   * as a host reproducing the module's own question needs; false (the
   * default): answer by entry. */
  bool exact;
  /* A buffer of the caller's for the text of a failure, as libcurl's error
   * buffer: vor_session_open writes into it why it failed ("cannot open
   * storage directory '/st': No such file or directory"), and
   * vor_session_reload why a reload failed (for malformed XML with line and
   * column). Each writes "" first; the text is cut to error_buffer_size
   * bytes, NUL included, at a UTF-8 character boundary. No other function
   * writes it. The buffer must stay valid until vor_session_close; read it
   * in the thread that made the call, before another reload may run. NULL
   * or size 0: no text (vor_result_message still names the code). */
  char* error_buffer;
  size_t error_buffer_size;
} vor_session_options;

/* Opens a session into `*out`; NULL options mean the defaults above. On a
 * failure `*out` is NULL and the error buffer, when given, says why.
 * Returns VOR_OK; VOR_E_INVALID_ARGUMENT (no `out`, a `size` too small,
 * non-zero bytes past the known fields, a flag or value without '=', an
 * environment value not UTF-8); VOR_E_PATH_NOT_FOUND (the storage directory
 * cannot be opened); the code of a root that cannot be opened;
 * VOR_E_MODULE_NOT_FOUND (no module, or the loader refused it);
 * VOR_E_ACCESS_DENIED (a module named by a bare name, or one root must
 * not load); VOR_E_SYMBOL_NOT_FOUND
 * (not a libvor module); or the module's code for a service it could not
 * create or verify. A process list that cannot be loaded does not fail the
 * open: see vor_session_process_list. */
VOR_HOST_API uint32_t vor_session_open(const vor_session_options* options, vor_session** out);

/* Asks the module whether a file (a UTF-8 path, answered by entry) is
 * critical to the operating system. Returns VOR_OK with the answer in
 * `*critical`; VOR_E_INVALID_ARGUMENT (NULL or empty path); VOR_E_INVALID_SYMBOL
 * (a path that is not UTF-8); or the module's code. */
VOR_HOST_API uint32_t vor_session_check_file(vor_session* session, const char* utf8_path,
                                             bool* critical);

/* Asks whether a running process is critical. The check pins its process
 * with pidfd_open(2) while the module is asked, and keeps the answer only if
 * that process is still running afterwards: a process that exited meanwhile,
 * or never ran, gives VOR_E_FILE_NOT_FOUND whatever the module answered, so
 * the answer never belongs to a later process that reused the pid. A thread
 * id that leads no thread group cannot be pinned (pidfd_open refuses it) and
 * is asked unpinned. Returns VOR_OK; VOR_E_INVALID_ARGUMENT (pid 0);
 * VOR_E_FILE_NOT_FOUND; VOR_E_ACCESS_DENIED (the process's /proc entries
 * cannot be read); or the module's code. */
VOR_HOST_API uint32_t vor_session_check_pid(vor_session* session, uint32_t pid, bool* critical);

/* As vor_session_check_file, and writes into `as` (NUL-terminated) the
 * spelling of the entry that the module calls critical, or "" when the path
 * as given decided or nothing was critical. When the spelling does not fit
 * in `as_size` bytes the call returns VOR_E_BUFFER_TOO_SMALL with `*critical`
 * false and `as` "" (when `as_size` is not 0): ask again with a larger
 * buffer. NULL `as` or `as_size` 0 give VOR_E_INVALID_ARGUMENT. */
VOR_HOST_API uint32_t vor_session_check_file_as(vor_session* session, const char* utf8_path,
                                                bool* critical, char* as, size_t as_size);

/* Asks about the process a pidfd refers to (pidfd_open(2), or clone(2) with
 * CLONE_PIDFD). Once that process has exited the call fails with
 * VOR_E_FILE_NOT_FOUND, never an answer, even when its pid now names another
 * process; a descriptor that is not a pidfd gives VOR_E_INVALID_ARGUMENT. The
 * descriptor stays the caller's. To kill only a process that is not critical:
 *
 *   int fd = pidfd_open(pid, 0);
 *   if (vor_session_check_pidfd(session, fd, &critical) == VOR_OK && !critical)
 *     pidfd_send_signal(fd, SIGKILL, NULL, 0);   // the same process, or none
 *   close(fd);
 */
VOR_HOST_API uint32_t vor_session_check_pidfd(vor_session* session, int pidfd, bool* critical);

/* As vor_session_check_file and vor_session_check_pid, and hands `line` the
 * module's own trace lines of this one call (up to VOR_TRACE_INFO, level
 * VOR_TRACE_INFO): why the answer is what it is. For a file, those of the
 * spelling that decided (of the path as given when nothing was critical),
 * unchanged. The lines are handed over before the call returns, on its
 * thread; each `line` text lives until the callback returns. A NULL `line`
 * gives VOR_E_INVALID_ARGUMENT; a C++ callback that throws fails the call
 * (VOR_E_OUT_OF_MEMORY for std::bad_alloc, else VOR_E_UNKNOWN_EXCEPTION). */
VOR_HOST_API uint32_t vor_session_explain_file(vor_session* session, const char* utf8_path,
                                               bool* critical, vor_trace_fn line,
                                               void* context);
VOR_HOST_API uint32_t vor_session_explain_pid(vor_session* session, uint32_t pid, bool* critical,
                                              vor_trace_fn line, void* context);

/* Reads the storage again with a new service instance, so that a changed
 * vor_proc.xms takes effect. When the new process list is unusable, or the
 * host's own services failed while it was read, the instance in force (and
 * its list) stays and the failure is returned; vor_session_process_list then
 * tells the attempt apart from the list in force. The error buffer, when
 * given, receives "" or why it failed. Returns VOR_OK; the module's code for
 * a list it refused (VOR_E_INVALID_SIGNATURE for malformed XML); the code of
 * a host service that failed while the list was read; or the code of an
 * instance that could not be created. Reloads run one at a time; checks go
 * on meanwhile. */
VOR_HOST_API uint32_t vor_session_reload(vor_session* session);

/* The process list in force. */
typedef enum vor_list_state {
  VOR_LIST_NONE = 0,   /* no vor_proc.xms in storage: an empty list, a normal state */
  VOR_LIST_LOADED = 1, /* read; `entries` entries */
  VOR_LIST_FAILED = 2  /* present but unreadable, malformed or rejected */
} vor_list_state;

typedef struct vor_list_status {
  uint32_t state;   /* vor_list_state */
  uint32_t entries; /* VOR_LIST_LOADED: the entries in force */
  uint32_t result;  /* VOR_LIST_FAILED: why */
  /* Malformed XML: where the parser stopped (from 1) and what it said;
   * 0 and "" otherwise. */
  uint32_t line;
  uint32_t column;
  char description[128];
} vor_list_status;

/* The process list in one word: VOR_LIST_FAILED whenever the last load
 * failed (see vor_session_process_list for the list in force then).
 * Returns VOR_OK, or VOR_E_INVALID_ARGUMENT for a NULL argument. */
VOR_HOST_API uint32_t vor_session_list_status(vor_session* session, vor_list_status* status);

/* The process list in force, and the last attempt to load one. The two
 * differ after a failed reload (the list in force stays) and after a load at
 * open that failed partway (what the module took stays in force). A load
 * fails when the module refuses the document, and also when the host's own
 * services failed while it was read (memory ran out, an XML call could not
 * complete): the module may then have taken fewer entries than the document
 * holds. */
typedef struct vor_process_list_info {
  /* sizeof(vor_process_list_info) as the caller knows it; at least up to
   * `entries`. Fields past it are not written. */
  size_t size;
  uint32_t in_force;    /* VOR_LIST_NONE or VOR_LIST_LOADED */
  uint32_t entries;     /* the entries in force */
  uint32_t last_result; /* the last load: VOR_OK (also when there is no
                           vor_proc.xms), or why it failed */
  /* Malformed XML in the last load: where the parser stopped (from 1) and what
   * it said; 0 and "" otherwise. */
  uint32_t last_line;
  uint32_t last_column;
  char last_description[128];
} vor_process_list_info;

/* Returns VOR_OK, or VOR_E_INVALID_ARGUMENT for a NULL argument or a `size`
 * that does not reach `entries`. */
VOR_HOST_API uint32_t vor_session_process_list(vor_session* session, vor_process_list_info* info);

/* The loaded module's version, "major.minor.build.revision"; valid while the
 * session is open. NULL for a null session. */
VOR_HOST_API const char* vor_session_module_version(vor_session* session);

/* The version of the libvor-host the program runs with, "MAJOR.MINOR.PATCH"
 * ("0.8.0"); never NULL, static. */
VOR_HOST_API const char* vor_host_version(void);

/* The text of a result code ("Invalid argument"), never NULL, static. */
VOR_HOST_API const char* vor_result_message(uint32_t code);

/* Releases the service and unloads the module once it says it may be
 * unloaded. NULL is ignored; closing a session twice is undefined. */
VOR_HOST_API void vor_session_close(vor_session* session);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* VOR_SESSION_H_ */
