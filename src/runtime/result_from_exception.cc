#include "runtime/result_from_exception.h"

#include <new>
#include <stdexcept>
#include <typeinfo>

#include "runtime/exception.h"
#include "runtime/result.h"

namespace zel {
namespace {

result_t NotSuccess(result_t code) { return Failed(code) ? code : kErrSuccessInException; }

// Classifies `error`, writes its text and returns its code; `nested` receives
// the exception it wraps, if any.
result_t Classify(const std::exception_ptr& error, TraceLine& line,
                  std::exception_ptr& nested) {
  nested = nullptr;
  const auto remember_nested = [&](const auto& e) {
    if (const auto* n = dynamic_cast<const std::nested_exception*>(&e)) {
      nested = n->nested_ptr();
    }
  };
  try {
    std::rethrow_exception(error);
  } catch (const ResultCodeException& e) {
    line << e.what();
    remember_nested(e);
    return NotSuccess(e.code());
  } catch (const Exception& e) {
    line << e.what();
    remember_nested(e);
    return kErrNoResultCode;
  } catch (const exception& e) {
    line << e.what();
    remember_nested(e);
    const std::optional<result_t> code = e.result();
    return code ? NotSuccess(*code) : kErrNoResultCode;
  } catch (const std::bad_alloc& e) {
    line << e.what();
    remember_nested(e);
    return kErrOutOfMemory;
  } catch (const std::bad_cast& e) {
    line << e.what();
    remember_nested(e);
    return kErrBadCast;
  } catch (const std::length_error& e) {
    line << e.what();
    remember_nested(e);
    return kErrInvalidSize;
  } catch (const std::out_of_range& e) {
    line << e.what();
    remember_nested(e);
    return kErrOutOfRange;
  } catch (const std::invalid_argument& e) {
    line << e.what();
    remember_nested(e);
    return kErrInvalidArgument;
  } catch (const std::exception& e) {
    line << e.what();
    remember_nested(e);
    return kErrNoResultCode;
  } catch (...) {
    line << "unknown exception";
    return kErrUnknownException;
  }
}

}  // namespace

result_t ResultFromCurrentException(const Tracer& tracer, std::string_view site) noexcept {
  std::exception_ptr current = std::current_exception();
  TraceLine line(tracer, kTraceError);
  line << site << ' ';
  if (!current) return kErrNoCurrentException;
  std::exception_ptr nested;
  const result_t code = Classify(current, line, nested);
  // Nested exceptions only add text, and only to a line that is being written.
  while (line && nested) {
    line << ' ';
    std::exception_ptr inner = nested;
    Classify(inner, line, nested);
  }
  return code;
}

}  // namespace zel
