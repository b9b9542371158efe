#include "runtime/exception.h"

#include <gtest/gtest.h>

#include <exception>
#include <fstream>
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "host/host_object.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "tests/testing_host/testing_host.h"

namespace zel {
namespace {

using vor::testing::CapturingTracer;
using std::make_exception_ptr;

class PlainFrameworkException : public Exception {
 public:
  PlainFrameworkException() : Exception("plain.cc", -5, "No code here") {}
};

class CodedFrameworkException : public exception {
 public:
  // `extra` more properties than the two; an exception keeps four at most.
  explicit CodedFrameworkException(result_t code, int extra = 0) : exception("coded.cc", 9, "Coded") {
    AddProperty("zel.result", kTypeTagResult, code);
    AddProperty("os.module_result", 0x1234, 7);
    for (int i = 0; i < extra; ++i) AddProperty("x", 0x10 + i, 0);
    Describe();
  }
};

// `outer` thrown while handling `inner`, as std::throw_with_nested does.
template <class E>
std::exception_ptr Nested(std::exception_ptr inner, const E& outer) {
  try {
    std::rethrow_exception(inner);
  } catch (...) {
    try {
      std::throw_with_nested(outer);
    } catch (...) {
      return std::current_exception();
    }
  }
}

// Rows in the order of data/exception_lines.txt, which holds their answers;
// null: no exception is being handled.
TEST(ResultFromExceptionTest, EveryKindGivesItsCodeAndOneLine) {
  const std::exception_ptr rows[] = {
      make_exception_ptr(ResultCodeException("a.cc", 12, kErrNotInitialized)),
      make_exception_ptr(ResultCodeException("b.cc", 3, kErrFileNotFound, "Expression failed")),
      make_exception_ptr(PlainFrameworkException()),
      make_exception_ptr(GetInterfaceException(kErrNotFound, 0x9cca5603, 0)),
      make_exception_ptr(CodedFrameworkException(kErrMedia)),
      make_exception_ptr(CodedFrameworkException(kErrMedia, 3)),
      make_exception_ptr(std::bad_alloc()),
      make_exception_ptr(std::bad_cast()),
      make_exception_ptr(std::length_error("append")),
      make_exception_ptr(std::out_of_range("range")),
      make_exception_ptr(std::invalid_argument("arg")),
      make_exception_ptr(std::runtime_error("other")),
      make_exception_ptr(42),
      nullptr,
      make_exception_ptr(ResultCodeException("s.cc", 1, kFalse)),
      make_exception_ptr(CodedFrameworkException(0x7fffffff)),
      make_exception_ptr(GetInterfaceException(kOk, 1, 2)),
      Nested(make_exception_ptr(std::out_of_range("inner")), std::runtime_error("outer")),
      Nested(Nested(make_exception_ptr(std::bad_alloc()),
                    ResultCodeException("m.cc", 2, kErrInvalidArgument)),
             std::invalid_argument("top")),
  };
  std::ifstream data(VOR_SOURCE_DIR "/tests/runtime/data/exception_lines.txt");
  auto sink = vor::host::MakeHostObject<CapturingTracer>(300);
  std::size_t row = 0;
  for (std::string line; std::getline(data, line);) {
    if (line.starts_with('#')) continue;
    SCOPED_TRACE(line);
    ASSERT_LT(row, std::size(rows));
    const result_t code = std::stoul(line, nullptr, 16);
    std::string text = line.substr(line.find('\t') + 1);
    for (std::size_t at; (at = text.find("\\n")) != std::string::npos;) text.replace(at, 2, "\n");
    // The same code whether or not the error line is written.
    for (const Tracer& trace : {Tracer(vor::Ref<ITracer>(sink.get()), "rp: "), Tracer()}) {
      try {
        if (rows[row]) std::rethrow_exception(rows[row]);
        EXPECT_EQ(ResultFromCurrentException(trace, "at line 160 =>"), code);
      } catch (...) {
        EXPECT_EQ(ResultFromCurrentException(trace, "at line 160 =>"), code);
      }
    }
    EXPECT_EQ(sink->lines(), std::vector<std::string>{"rp: at line 160 => " + text});
    sink->Clear();
    ++row;
  }
  EXPECT_EQ(row, std::size(rows));
}

}  // namespace
}  // namespace zel
