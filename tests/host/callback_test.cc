// Callbacks that throw: the caller's explanation callback fails its call,
// which never reads critical; the session's trace callback loses its line
// and nothing else.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "vor/session.h"
#include "vor/session.hpp"

namespace {

struct Session {
  Session() { EXPECT_EQ(vor_session_open(nullptr, &session), VOR_OK); }
  ~Session() { vor_session_close(session); }
  vor_session* session = nullptr;
};

TEST(CallbackTest, AThrowingExplanationCallbackFailsTheCallWithoutCritical) {
  const Session s;
  const struct {
    vor_trace_fn callback;
    uint32_t code;
  } rows[] = {
      {[](void*, uint32_t, const char*) { throw std::bad_alloc(); }, VOR_E_OUT_OF_MEMORY},
      {[](void*, uint32_t, const char*) { throw std::runtime_error("no"); }, VOR_E_UNKNOWN_EXCEPTION},
      {[](void*, uint32_t, const char*) { throw 7; }, VOR_E_UNKNOWN_EXCEPTION},
  };
  for (const auto& row : rows) {
    bool critical = true;
    EXPECT_EQ(vor_session_explain_file(s.session, "/usr/bin/ls", &critical, row.callback, nullptr), row.code);
    EXPECT_FALSE(critical);
    critical = true;
    EXPECT_EQ(vor_session_explain_pid(s.session, 1, &critical, row.callback, nullptr), row.code);
    EXPECT_FALSE(critical);
  }
  bool critical = false;
  EXPECT_EQ(vor_session_check_file(s.session, "/usr/bin/ls", &critical), VOR_OK);
  EXPECT_TRUE(critical) << "the session answers on after a failed call";
}

TEST(CallbackTest, AThrowingTraceCallbackLosesItsLineOnly) {
  vor::host::SessionOptions options;
  options.traceLevel = VOR_TRACE_DEBUG;
  int lines = 0;
  options.trace = [&lines](std::uint32_t, std::string_view) {
    ++lines;
    throw std::runtime_error("the host's tracer broke");
  };
  std::unique_ptr<vor::host::Session> session;
  ASSERT_EQ(vor::host::Session::Open(options, session), VOR_OK);
  EXPECT_GT(lines, 0);
  const vor::host::Answer answer = session->CheckFile("/usr/bin/ls");
  EXPECT_EQ(answer.result, VOR_OK);
  EXPECT_TRUE(answer.critical);
  EXPECT_FALSE(session->CheckFile("/tmp/vor-not-critical").critical);
}

}  // namespace
