#include "runtime/exception.h"

#include <gtest/gtest.h>

#include <exception>
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "host/host_object.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "tests/testing_host/capturing_tracer.h"

namespace zel {
namespace {

using vor::testing::CapturingTracer;

class PlainFrameworkException : public Exception {
 public:
  PlainFrameworkException() : Exception("plain.cc", -5, "No code here") {}
};

class CodedFrameworkException : public exception {
 public:
  explicit CodedFrameworkException(result_t code) : exception("coded.cc", 9, "Coded") {
    AddProperty("zel.result", kTypeTagResult, code);
    AddProperty("os.module_result", 0x1234, 7);
    Describe();
  }
};

struct NotAStdException {};

class ResultFromExceptionTest : public ::testing::Test {
 protected:
  // Throws `error`, converts it, and returns the code; the line goes to lines_.
  template <class E>
  result_t Convert(const E& error) {
    try {
      throw error;
    } catch (...) {
      return ResultFromCurrentException(trace_, "Exception caught at line 160 => ");
    }
  }
  std::string OnlyLine() {
    const auto lines = sink_->lines(kTraceError);
    EXPECT_EQ(lines.size(), 1u);
    const std::string line = lines.empty() ? "" : lines[0];
    sink_->Clear();
    return line;
  }

  vor::Ref<CapturingTracer> sink_ = vor::host::MakeHostObject<CapturingTracer>(300);
  Tracer trace_{vor::Ref<ITracer>(sink_.get()), "rp: "};
  const std::string prefix_ = "rp: Exception caught at line 160 =>  ";
};

TEST_F(ResultFromExceptionTest, ClassifiesEveryRow) {
  EXPECT_EQ(Convert(ResultCodeException("a.cc", 12, kErrNotInitialized)), kErrNotInitialized);
  EXPECT_EQ(OnlyLine(), prefix_ +
                            "a.cc(12): 0x8000006b (Not initialized). Properties: "
                            "zel.result=0x8000006b\nCall stack:\n");

  EXPECT_EQ(Convert(ResultCodeException("b.cc", 3, kErrFileNotFound, "Expression failed")),
            kErrFileNotFound);
  EXPECT_NE(OnlyLine().find("b.cc(3): Expression failed: 0x80010102 (File not found)."),
            std::string::npos);

  EXPECT_EQ(Convert(PlainFrameworkException()), kErrNoResultCode);
  EXPECT_EQ(OnlyLine(), prefix_ + "plain.cc(-5): No code here. Call stack:\n");

  EXPECT_EQ(Convert(GetInterfaceException(kErrNotFound, 0x9cca5603, 0)), kErrNotFound);
  EXPECT_EQ(OnlyLine(), prefix_ +
                            "objclient(103): Can't get interface. Properties: "
                            "zel.iid=0x9cca5603 zel.serviceKey=0x0\nCall stack:\n");

  EXPECT_EQ(Convert(CodedFrameworkException(kErrMedia)), kErrMedia);
  EXPECT_EQ(OnlyLine(), prefix_ +
                            "coded.cc(9): Coded. Properties: zel.result=0x80000059 "
                            "os.module_result=<typeid=0x1234>\nCall stack:\n");

  EXPECT_EQ(Convert(std::bad_alloc()), kErrOutOfMemory);
  EXPECT_EQ(OnlyLine(), prefix_ + "std::bad_alloc");
  EXPECT_EQ(Convert(std::bad_cast()), kErrBadCast);
  EXPECT_EQ(OnlyLine(), prefix_ + "std::bad_cast");
  EXPECT_EQ(Convert(std::length_error("vector::append")), kErrInvalidSize);
  EXPECT_EQ(OnlyLine(), prefix_ + "vector::append");
  EXPECT_EQ(Convert(std::out_of_range("range")), kErrOutOfRange);
  EXPECT_EQ(OnlyLine(), prefix_ + "range");
  EXPECT_EQ(Convert(std::invalid_argument("arg")), kErrInvalidArgument);
  EXPECT_EQ(OnlyLine(), prefix_ + "arg");
  EXPECT_EQ(Convert(std::runtime_error("other")), kErrNoResultCode);
  EXPECT_EQ(OnlyLine(), prefix_ + "other");
  EXPECT_EQ(Convert(NotAStdException()), kErrUnknownException);
  EXPECT_EQ(OnlyLine(), prefix_ + "unknown exception");
  EXPECT_EQ(Convert(42), kErrUnknownException);
  EXPECT_EQ(OnlyLine(), prefix_ + "unknown exception");
}

TEST_F(ResultFromExceptionTest, SuccessCodesNeverComeBack) {
  EXPECT_EQ(Convert(ResultCodeException("a.cc", 1, 0)), kErrSuccessInException);
  EXPECT_EQ(Convert(ResultCodeException("a.cc", 1, 1)), kErrSuccessInException);
  EXPECT_EQ(Convert(CodedFrameworkException(0x7fffffff)), kErrSuccessInException);
  EXPECT_EQ(Convert(GetInterfaceException(0, 1, 2)), kErrSuccessInException);
}

TEST_F(ResultFromExceptionTest, NestedExceptionsShareOneLine) {
  result_t code = 0;
  try {
    try {
      throw std::out_of_range("inner");
    } catch (...) {
      std::throw_with_nested(std::runtime_error("outer"));
    }
  } catch (...) {
    code = ResultFromCurrentException(trace_, "Exception caught at line 160 => ");
  }
  EXPECT_EQ(code, kErrNoResultCode) << "the outermost exception decides";
  EXPECT_EQ(OnlyLine(), prefix_ + "outer inner");

  // Three levels deep, with a framework exception in the middle.
  try {
    try {
      try {
        throw std::bad_alloc();
      } catch (...) {
        std::throw_with_nested(ResultCodeException("m.cc", 2, kErrInvalidArgument));
      }
    } catch (...) {
      std::throw_with_nested(std::invalid_argument("top"));
    }
  } catch (...) {
    code = ResultFromCurrentException(trace_, "Exception caught at line 160 => ");
  }
  EXPECT_EQ(code, kErrInvalidArgument);
  const std::string line = OnlyLine();
  EXPECT_EQ(line.rfind(prefix_ + "top m.cc(2): 0x80000046 (Invalid argument).", 0), 0u) << line;
  EXPECT_EQ(line.substr(line.size() - 15), " std::bad_alloc");
}

TEST_F(ResultFromExceptionTest, WorksWithoutTracerAndWithoutException) {
  Tracer absent;
  try {
    throw std::bad_alloc();
  } catch (...) {
    EXPECT_EQ(ResultFromCurrentException(absent, "x => "), kErrOutOfMemory);
  }
  sink_->set_threshold(200);  // level 300 disabled: same code, no line
  EXPECT_EQ(Convert(std::bad_alloc()), kErrOutOfMemory);
  EXPECT_TRUE(sink_->lines().empty());
  sink_->set_threshold(300);

  EXPECT_EQ(ResultFromCurrentException(trace_, "Exception caught at line 160 => "),
            kErrNoCurrentException);
  EXPECT_EQ(OnlyLine(), prefix_);
}

}  // namespace
}  // namespace zel
