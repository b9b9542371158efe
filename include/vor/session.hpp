// libvor-host for C++ hosts: the session of <vor/session.h> with standard
// types. One Session loads libvor.so with the reference host's services,
// creates and verifies the criticality service and answers checks from any
// number of threads; Reload swaps in a new service instance.
//
// The C++ API is built for libstdc++'s ABI (GCC's, with the C++11 std::string
// of _GLIBCXX_USE_CXX11_ABI=1): a program built with another standard library
// uses the C API of <vor/session.h>, which any compiler can call.
#ifndef VOR_SESSION_HPP_
#define VOR_SESSION_HPP_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/object.h"
#include "vor/ref.h"
#include "vor/result.h"
#include "vor/session.h"

namespace vor::host {

struct SessionOptions {
  // Empty: the installed module beside libvor-host. Rules as for module_path
  // of vor/session.h: a path with a '/'; as root, a module only root can
  // change, and a module (zel::kErrAccessDenied, the rule in Open's error).
  std::string modulePath;
  std::string storageDir;  // empty: an empty storage
  std::string root;        // empty or "/": absolute paths as they stand
  std::vector<std::pair<std::string, std::string>> flags;        // feature flags
  std::vector<std::pair<std::string, std::string>> environment;  // %NAME% values
  std::uint32_t traceLevel = VOR_TRACE_NONE;
  // Receives the module's lines up to traceLevel, from any thread.
  std::function<void(std::uint32_t level, std::string_view line)> trace;
  // Ask the module about each path exactly as given and nothing else (as a
  // host reproducing the module's own question needs), not by entry.
  bool exact = false;
};

// Where the host's XML parser stopped on a malformed document, from 1.
struct XmlSyntaxError {
  std::uint32_t line = 0;
  std::uint32_t column = 0;
  std::string description;  // empty: the document was not malformed
};

// The process list in one word, as vor_session_list_status gives it:
// VOR_LIST_FAILED whenever the last load failed, else the list in force.
struct ListStatus {
  vor_list_state state = VOR_LIST_NONE;
  std::uint32_t entries = 0;
  zel::result_t result = VOR_OK;
  XmlSyntaxError syntax;  // a failed list that was malformed XML
};

// One load of vor_proc.xms: VOR_OK when the module took it whole, or when
// there is none; otherwise why it failed. A load during which the host's own
// services failed (memory, an XML call) failed, whatever the module took.
struct ListLoad {
  zel::result_t result = VOR_OK;
  XmlSyntaxError syntax;  // a document that was malformed XML
};

// The process list in force and the last attempt to load one. They differ
// after a failed reload (the list in force stays) and after a load at open
// that failed partway (what the module took is in force).
struct ProcessListState {
  vor_list_state inForce = VOR_LIST_NONE;  // VOR_LIST_NONE or VOR_LIST_LOADED
  std::uint32_t entries = 0;               // entries in force
  ListLoad lastLoad;
};

// What the module found on this machine when the instance in force started.
struct ModuleFacts {
  zel::result_t release = VOR_E_UNEXPECTED;  // VOR_OK: name and version found
  std::string releaseName;
  std::string releaseVersion;
  std::vector<std::string> libraryDirectories;
  std::vector<std::string> errors;  // its first few error lines
};

struct Answer {
  zel::result_t result = VOR_OK;
  bool critical = false;  // false whenever result is a failure
};

// The answer for the directory entry a path names (see <vor/session.h>).
struct FileAnswer {
  zel::result_t result = VOR_OK;
  bool critical = false;  // false whenever result is a failure
  std::string asked;      // the path the module was asked first
  // The spelling of the entry that the module calls critical; empty when
  // `asked` decided or nothing was critical.
  std::string as;
};

class VOR_HOST_API Session {
 public:
  // Opens a session; on failure `out` stays empty and `error` (when given)
  // says which step failed ("cannot load module '...': ...").
  static zel::result_t Open(const SessionOptions& options, std::unique_ptr<Session>& out,
                            std::string* error = nullptr);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // `explain`, when given, receives the module's own lines of this one call:
  // for a file, those of the spelling that decided (of `asked` when nothing
  // was critical). Files are answered by entry, as <vor/session.h> tells,
  // unless the session is exact.
  Answer CheckFile(std::string_view utf8Path, std::vector<std::string>* explain = nullptr);
  FileAnswer CheckFileEntry(std::string_view utf8Path, std::vector<std::string>* explain = nullptr);
  // As above into `out`, whose strings keep their capacity from call to
  // call: checks in bulk allocate nothing per path.
  void CheckFileEntry(std::string_view utf8Path, FileAnswer& out,
                      std::vector<std::string>* explain = nullptr);
  // The spellings CheckFile asks about for `utf8Path`, in order: the path
  // asked first, then the entry's other spellings on this machine.
  zel::result_t EntrySpellings(std::string_view utf8Path, std::vector<std::string>& out);
  // The process is pinned while it is asked about: one that exits before the
  // answer is in gives VOR_E_FILE_NOT_FOUND, whatever the module said.
  Answer CheckPid(std::uint32_t pid, std::vector<std::string>* explain = nullptr);
  // The process `pidfd` refers to (pidfd_open(2)); see vor_session_check_pidfd.
  Answer CheckPidfd(int pidfd, std::vector<std::string>* explain = nullptr);

  // Reads the storage again with a new instance; a failed process list keeps
  // the instance in force and returns why.
  zel::result_t Reload();
  // As above; on failure `error` says why in words ("cannot load
  // '/st/vor_proc.xms': Invalid signature (line 1, column 48: ...)").
  zel::result_t Reload(std::string& error);

  ListStatus processList() const;
  ProcessListState processListState() const;
  ModuleFacts moduleFacts() const;
  // The module's own lines (unescaped) of creating and verifying the instance
  // in force that the session keeps: those the facts above were read from
  // and the first error lines, a few at most.
  std::vector<std::string> startupLines() const;
  // Where the session's XML factory stopped on the last document it was
  // given, when that one was malformed XML; for tools that hand documents to
  // the module's components through locator().
  XmlSyntaxError lastXmlSyntaxError() const;
  const std::string& modulePath() const;
  const std::string& moduleVersion() const;
  // The host services the module is given, for callers that ask the module's
  // components directly (through the ABI interfaces).
  zel::IServiceLocator* locator() const;
  // The storage the service was given.
  zel::IStorage* storage() const;

  // The installed module beside this library; empty when there is none.
  static std::string DefaultModulePath();

 private:
  struct Impl;
  explicit Session(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

// A host stream over a local regular file (a path as the caller's process
// sees it), for documents handed to the module's components; a FIFO or
// device is refused without blocking. On failure `error` says why.
VOR_HOST_API zel::result_t OpenLocalFile(const std::string& path, Ref<zel::IIo>& out,
                                         std::string& error);

}  // namespace vor::host

#endif  // VOR_SESSION_HPP_
