// The C face of the session: argument checks, conversion to and from the C
// structs, and no exception ever crossing into the caller.
#include <cstddef>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "host/exception_code.h"
#include "host/feature_flags.h"
#include "vor/session.h"
#include "vor/session.hpp"

namespace {

// The caller's buffer for the text of a failure (vor_session_options).
class ErrorBuffer {
 public:
  ErrorBuffer() = default;
  ErrorBuffer(char* data, std::size_t size) : data_(size > 0 ? data : nullptr), size_(size) {
    Write({});
  }
  // Cut to fit at a UTF-8 character boundary, always NUL-terminated.
  void Write(std::string_view text) const noexcept {
    if (data_ == nullptr) return;
    std::size_t length = std::min(text.size(), size_ - 1);
    while (length > 0 && length < text.size() && (text[length] & 0xC0) == 0x80) --length;
    text.copy(data_, length);
    data_[length] = '\0';
  }

 private:
  char* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace

struct vor_session {
  std::unique_ptr<vor::host::Session> session;
  ErrorBuffer error;
  std::mutex reloading;  // one reload at a time writes `error`
};

namespace {

using vor::host::CurrentExceptionCode;
using vor::host::Session;
using vor::host::SessionOptions;

// Options past the caller's `size` keep their defaults, so an older caller's
// smaller struct is read safely.
#define VOR_HAS(options, field) \
  ((options).size >= offsetof(vor_session_options, field) + sizeof((options).field))

// A NULL-terminated array of "NAME=VALUE" into pairs; the bad one in `bad`.
bool ReadAssignments(const char* const* texts,
                     std::vector<std::pair<std::string, std::string>>& out, std::string& bad) {
  for (; texts != nullptr && *texts != nullptr; ++texts) {
    auto assignment = vor::host::ParseAssignment(*texts);
    if (!assignment) {
      bad = *texts;
      return false;
    }
    out.push_back(std::move(*assignment));
  }
  return true;
}

// Reads the caller's options into `out`, and its error buffer into `error`
// first, so that a refusal of the rest can be told in words.
uint32_t ReadOptions(const vor_session_options& in, SessionOptions& out, ErrorBuffer& error) {
  if (in.size < sizeof(size_t)) return VOR_E_INVALID_ARGUMENT;
  if (VOR_HAS(in, error_buffer_size)) error = ErrorBuffer(in.error_buffer, in.error_buffer_size);
  // A newer caller's option this library does not know is refused, not dropped.
  const auto* bytes = reinterpret_cast<const unsigned char*>(&in);
  for (std::size_t at = sizeof in; at < in.size; ++at) {
    if (bytes[at] == 0) continue;
    error.Write("options: byte " + std::to_string(at) + " is not zero; this libvor-host knows the first " +
                std::to_string(sizeof in) + " only");
    return VOR_E_INVALID_ARGUMENT;
  }
  const auto text = [](const char* value) { return value ? std::string(value) : std::string(); };
  if (VOR_HAS(in, module_path)) out.modulePath = text(in.module_path);
  if (VOR_HAS(in, storage_dir)) out.storageDir = text(in.storage_dir);
  if (VOR_HAS(in, root)) out.root = text(in.root);
  std::string bad;
  if (VOR_HAS(in, flags) && !ReadAssignments(in.flags, out.flags, bad)) {
    error.Write("feature flag '" + bad + "' is not NAME=VALUE");
    return VOR_E_INVALID_ARGUMENT;
  }
  if (VOR_HAS(in, environment) && !ReadAssignments(in.environment, out.environment, bad)) {
    error.Write("environment value '" + bad + "' is not NAME=VALUE");
    return VOR_E_INVALID_ARGUMENT;
  }
  if (VOR_HAS(in, trace_context) && in.trace != nullptr &&
      in.trace_level != VOR_TRACE_NONE) {
    out.traceLevel = in.trace_level;
    out.trace = [fn = in.trace, context = in.trace_context](std::uint32_t level,
                                                             std::string_view line) {
      const std::string copy(line);  // NUL-terminated for the caller
      fn(context, level, copy.c_str());
    };
  }
  if (VOR_HAS(in, exact)) out.exact = in.exact;
  return VOR_OK;
}

// Runs `ask` and hands its answer out; an exception on the way fails the
// call, and a failed call never reads critical.
template <class Ask>
uint32_t Answered(bool* critical, Ask ask) noexcept {
  try {
    const vor::host::Answer answer = ask();
    *critical = zel::Succeeded(answer.result) && answer.critical;
    return answer.result;
  } catch (...) {
    *critical = false;
    return CurrentExceptionCode();
  }
}

// Runs `check` collecting the module's lines of it, then hands them to
// `line`. The answer is given only once every line is delivered: a callback
// that throws fails the call.
template <class Check>
uint32_t Explain(bool* critical, vor_trace_fn line, void* context, Check check) noexcept {
  return Answered(critical, [&] {
    std::vector<std::string> lines;
    const vor::host::Answer answer = check(&lines);
    for (const std::string& text : lines) line(context, VOR_TRACE_INFO, text.c_str());
    return answer;
  });
}

// Copies `text` into a fixed field, cut to it and always NUL-terminated.
template <std::size_t N>
void CopyText(char (&field)[N], const std::string& text) {
  std::snprintf(field, N, "%s", text.c_str());
}

}  // namespace

extern "C" {

uint32_t vor_session_open(const vor_session_options* options, vor_session** out) {
  ErrorBuffer error;
  if (out == nullptr) return VOR_E_INVALID_ARGUMENT;
  *out = nullptr;
  try {
    SessionOptions read;
    if (options != nullptr) {
      const uint32_t code = ReadOptions(*options, read, error);
      if (zel::Failed(code)) return code;
    }
    auto session = std::make_unique<vor_session>();
    session->error = error;
    std::string why;
    const uint32_t code = Session::Open(read, session->session, &why);
    if (zel::Failed(code)) {
      error.Write(why);
      return code;
    }
    *out = session.release();
    return VOR_OK;
  } catch (...) {
    const uint32_t code = CurrentExceptionCode();
    error.Write(zel::ResultCodeText(code));
    return code;
  }
}

uint32_t vor_session_check_file(vor_session* session, const char* utf8_path, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (session == nullptr || utf8_path == nullptr || critical == nullptr) {
    return VOR_E_INVALID_ARGUMENT;
  }
  return Answered(critical, [&] { return session->session->CheckFile(utf8_path); });
}

uint32_t vor_session_check_file_as(vor_session* session, const char* utf8_path, bool* critical,
                                   char* as, size_t as_size) {
  if (critical != nullptr) *critical = false;
  if (as != nullptr && as_size > 0) *as = '\0';
  if (session == nullptr || utf8_path == nullptr || critical == nullptr || as == nullptr ||
      as_size == 0) {
    return VOR_E_INVALID_ARGUMENT;
  }
  try {
    const vor::host::FileAnswer answer = session->session->CheckFileEntry(utf8_path);
    if (answer.as.size() >= as_size) return VOR_E_BUFFER_TOO_SMALL;
    answer.as.copy(as, answer.as.size());
    as[answer.as.size()] = '\0';
    *critical = zel::Succeeded(answer.result) && answer.critical;
    return answer.result;
  } catch (...) {
    *critical = false;
    *as = '\0';
    return CurrentExceptionCode();
  }
}

uint32_t vor_session_check_pid(vor_session* session, uint32_t pid, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (session == nullptr || critical == nullptr) return VOR_E_INVALID_ARGUMENT;
  return Answered(critical, [&] { return session->session->CheckPid(pid); });
}

uint32_t vor_session_check_pidfd(vor_session* session, int pidfd, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (session == nullptr || critical == nullptr) return VOR_E_INVALID_ARGUMENT;
  return Answered(critical, [&] { return session->session->CheckPidfd(pidfd); });
}

uint32_t vor_session_explain_file(vor_session* session, const char* utf8_path, bool* critical,
                                  vor_trace_fn line, void* context) {
  if (critical != nullptr) *critical = false;
  if (session == nullptr || utf8_path == nullptr || critical == nullptr || line == nullptr) {
    return VOR_E_INVALID_ARGUMENT;
  }
  return Explain(critical, line, context, [&](std::vector<std::string>* lines) {
    return session->session->CheckFile(utf8_path, lines);
  });
}

uint32_t vor_session_explain_pid(vor_session* session, uint32_t pid, bool* critical,
                                 vor_trace_fn line, void* context) {
  if (critical != nullptr) *critical = false;
  if (session == nullptr || critical == nullptr || line == nullptr) return VOR_E_INVALID_ARGUMENT;
  return Explain(critical, line, context, [&](std::vector<std::string>* lines) {
    return session->session->CheckPid(pid, lines);
  });
}

uint32_t vor_session_reload(vor_session* session) {
  if (session == nullptr) return VOR_E_INVALID_ARGUMENT;
  try {
    const std::lock_guard<std::mutex> hold(session->reloading);
    session->error.Write({});
    std::string why;
    const uint32_t code = session->session->Reload(why);
    if (zel::Failed(code)) session->error.Write(why);
    return code;
  } catch (...) {
    const uint32_t code = CurrentExceptionCode();
    session->error.Write(zel::ResultCodeText(code));
    return code;
  }
}

uint32_t vor_session_list_status(vor_session* session, vor_list_status* status) {
  if (session == nullptr || status == nullptr) return VOR_E_INVALID_ARGUMENT;
  try {
    const vor::host::ListStatus list = session->session->processList();
    *status = {};
    status->state = list.state;
    status->entries = list.entries;
    status->result = list.result;
    status->line = list.syntax.line;
    status->column = list.syntax.column;
    CopyText(status->description, list.syntax.description);
    return VOR_OK;
  } catch (...) {
    return CurrentExceptionCode();
  }
}

uint32_t vor_session_process_list(vor_session* session, vor_process_list_info* info) {
  constexpr std::size_t kMinimum = offsetof(vor_process_list_info, entries) + sizeof info->entries;
  if (session == nullptr || info == nullptr || info->size < kMinimum) return VOR_E_INVALID_ARGUMENT;
  try {
    const vor::host::ProcessListState state = session->session->processListState();
    vor_process_list_info out{};
    out.size = std::min(info->size, sizeof out);
    out.in_force = state.inForce;
    out.entries = state.entries;
    out.last_result = state.lastLoad.result;
    out.last_line = state.lastLoad.syntax.line;
    out.last_column = state.lastLoad.syntax.column;
    CopyText(out.last_description, state.lastLoad.syntax.description);
    std::memcpy(info, &out, out.size);  // an older caller's smaller struct is written to its end only
    return VOR_OK;
  } catch (...) {
    return CurrentExceptionCode();
  }
}

const char* vor_session_module_version(vor_session* session) {
  return session == nullptr ? nullptr : session->session->moduleVersion().c_str();
}

const char* vor_host_version(void) { return VOR_HOST_VERSION; }

const char* vor_result_message(uint32_t code) {
  // The texts are NUL-terminated literals, so the view's data ends in a NUL.
  return zel::ResultCodeText(code).data();
}

void vor_session_close(vor_session* session) { delete session; }

}  // extern "C"
