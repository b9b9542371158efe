// The checks: a file by its entry, a process pinned while it is asked.
#include <cerrno>
#include <memory_resource>

#include "host/exception_code.h"
#include "host/process_pin.h"
#include "host/session_impl.h"
#include "host/wide_path.h"
#include "vor/utf.h"

namespace vor::host {
namespace {

// The checks want a non-null opaque context of the caller's.
int check_context;

// Asks `check` of the instance in force; the module's lines of this one call
// are collected only when the caller wants them, so plain checks pay nothing.
template <class Check>
Answer Ask(const std::shared_ptr<Instance>& instance, SessionTracer& tracer,
           std::vector<std::string>* explain, Check check) {
  Answer answer;
  if (explain == nullptr) {
    answer.result = check(*instance->service.get(), answer.critical);
  } else {
    // Out of line: the collector's buffer would be cleared on every plain
    // check too, a tenth of what a bulk check by entry adds.
    [&]() __attribute__((noinline)) {
      LineList lines(*explain);
      const SessionTracer::Collect collect(tracer, VOR_TRACE_INFO, lines);
      answer.result = check(*instance->service.get(), answer.critical);
    }();
  }
  if (zel::Failed(answer.result)) answer.critical = false;
  return answer;
}

// Asks about the process `pidfd` holds; the answer stands only when that
// process is still running once the module has answered, so the pid cannot
// have passed to another process in between.
Answer AskPinned(const std::shared_ptr<Instance>& instance, SessionTracer& tracer,
                 std::vector<std::string>* explain, int pidfd, std::uint32_t pid) {
  Answer answer = Ask(instance, tracer, explain, [pid](ICorvane2& service, bool& critical) {
    return service.CheckCriticalProcess(&check_context, pid, &critical);
  });
  if (zel::Failed(answer.result)) return answer;
  const zel::result_t running = StillRunning(pidfd);
  if (zel::Failed(running)) answer = {running, false};
  return answer;
}

}  // namespace

namespace {

// The spelling FileEntries::AppendOtherSpellings wrote at `at` (NUL-
// terminated), and `at` moved past it.
template <class U16String>
std::u16string_view CountedSpelling(const U16String& spellings, std::size_t& at) {
  const std::size_t size = spellings[at] | static_cast<std::size_t>(spellings[at + 1]) << 16;
  const std::u16string_view spelling(spellings.data() + at + 2, size);
  at += size + 3;
  return spelling;
}

Answer AskFile(const std::shared_ptr<Instance>& instance, SessionTracer& tracer,
               std::vector<std::string>* explain, const char16_t* path) {
  return Ask(instance, tracer, explain, [path](ICorvane2& service, bool& critical) {
    return service.CheckCriticalFile(&check_context, path, &critical);
  });
}

}  // namespace

Answer Session::Impl::CheckEntry(std::string_view path, std::string* asked, std::string* as,
                                 std::vector<std::string>* explain) {
  if (as != nullptr) as->clear();
  // Checks come by the million: the UTF-16 text of the path and of its
  // entry's spellings lives on the stack, spilling to the heap only when long.
  char16_t stack[2048];
  std::pmr::monotonic_buffer_resource arena(stack, sizeof stack);
  std::pmr::u16string wide(&arena);
  AskedPath shape;
  std::string scratch;  // only for paths that are not clean and absolute
  const zel::result_t shaped = Shape(path, scratch, shape);
  if (zel::Failed(shaped)) return {shaped, false};
  if (asked != nullptr) asked->assign(shape.text);
  if (!AppendWide(shape.text, wide)) return {VOR_E_INVALID_SYMBOL, false};
  const std::shared_ptr<Instance> instance = current.load();
  const Answer answer = AskFile(instance, *tracer.get(), explain, wide.c_str());
  if (zel::Failed(answer.result) || answer.critical || !ByEntry()) return answer;

  // The final name, widened already: the text after the last slash (a copy,
  // as `wide` grows).
  const std::size_t slash = shape.name.empty() ? wide.size() - 1 : wide.rfind(u'/');
  const std::pmr::u16string name(std::u16string_view(wide).substr(slash + 1), &arena);
  wide.push_back(u'\0');
  const std::size_t first = wide.size();
  std::size_t count = 0;
  const zel::result_t code = fileEntries.AppendOtherSpellings(shape, wide, count, name);
  if (zel::Failed(code)) return {code, false};
  std::vector<std::string> lines;
  for (std::size_t at = first; count > 0; --count) {
    const std::u16string_view spelling = CountedSpelling(wide, at);
    lines.clear();
    const Answer other = AskFile(instance, *tracer.get(), explain ? &lines : nullptr, spelling.data());
    if (zel::Failed(other.result)) return other;
    if (!other.critical) continue;
    if (as != nullptr) utf::Utf16ToUtf8(spelling, [as](char c) { as->push_back(c); });
    if (explain != nullptr) *explain = std::move(lines);
    return other;
  }
  return answer;
}

Answer Session::CheckFile(std::string_view utf8Path, std::vector<std::string>* explain) {
  try {
    return impl_->CheckEntry(utf8Path, nullptr, nullptr, explain);
  } catch (...) {
    return {CurrentExceptionCode(), false};
  }
}

void Session::CheckFileEntry(std::string_view utf8Path, FileAnswer& out,
                             std::vector<std::string>* explain) {
  try {
    const Answer answer = impl_->CheckEntry(utf8Path, &out.asked, &out.as, explain);
    out.result = answer.result;
    out.critical = answer.critical;
  } catch (...) {
    out.result = CurrentExceptionCode();
    out.critical = false;
  }
  if (!out.critical) out.as.clear();
}

FileAnswer Session::CheckFileEntry(std::string_view utf8Path, std::vector<std::string>* explain) {
  FileAnswer answer;
  CheckFileEntry(utf8Path, answer, explain);
  return answer;
}

zel::result_t Session::EntrySpellings(std::string_view utf8Path, std::vector<std::string>& out) {
  out.clear();
  try {
    AskedPath shape;
    std::string scratch;
    zel::result_t code = impl_->Shape(utf8Path, scratch, shape);
    if (zel::Failed(code)) return code;
    std::pmr::u16string wide;
    std::size_t count = 0;
    if (impl_->ByEntry()) code = impl_->fileEntries.AppendOtherSpellings(shape, wide, count);
    if (zel::Failed(code)) return code;
    out.emplace_back(shape.text);
    for (std::size_t at = 0; count > 0; --count) {
      std::string& spelling = out.emplace_back();
      utf::Utf16ToUtf8(CountedSpelling(wide, at), [&spelling](char c) { spelling.push_back(c); });
    }
    return VOR_OK;
  } catch (...) {
    return CurrentExceptionCode();
  }
}

Answer Session::CheckPid(std::uint32_t pid, std::vector<std::string>* explain) {
  try {
    const PidPin pin(pid);
    if (pin.fd() >= 0) {
      return AskPinned(impl_->current.load(), *impl_->tracer.get(), explain, pin.fd(), pid);
    }
    Answer answer = Ask(impl_->current.load(), *impl_->tracer.get(), explain,
                        [pid](ICorvane2& service, bool& critical) {
                          return service.CheckCriticalProcess(&check_context, pid, &critical);
                        });
    // No such process when the question began: whatever answered was not it.
    // A thread that leads no thread group cannot be pinned and is asked as it is.
    if (pin.error() == ESRCH && zel::Succeeded(answer.result)) answer = {VOR_E_FILE_NOT_FOUND, false};
    return answer;
  } catch (...) {
    return {CurrentExceptionCode(), false};
  }
}

Answer Session::CheckPidfd(int pidfd, std::vector<std::string>* explain) {
  try {
    std::uint32_t pid = 0;
    const zel::result_t code = PidOfPidfd(pidfd, pid);
    if (zel::Failed(code)) return {code, false};
    return AskPinned(impl_->current.load(), *impl_->tracer.get(), explain, pidfd, pid);
  } catch (...) {
    return {CurrentExceptionCode(), false};
  }
}

}  // namespace vor::host
