// ask_module PATH...: a C++ host of libvor through libvor-host's session,
// against the installed headers and library only. The session loads the
// installed module with the reference host's services, so a host product
// that brings no services of its own gets its answers in a few lines.
#include <cstdio>
#include <memory>
#include <string>

#include <vor/session.hpp>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: ask_module PATH...\n");
    return 2;
  }
  vor::host::SessionOptions options;  // the installed module, an empty storage, root "/"
  options.traceLevel = VOR_TRACE_ERROR;
  options.trace = [](std::uint32_t, std::string_view line) {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
  };
  std::unique_ptr<vor::host::Session> session;
  std::string error;
  const std::uint32_t opened = vor::host::Session::Open(options, session, &error);
  if (opened != VOR_OK) {
    std::fprintf(stderr, "%s: %s\n", error.c_str(), vor_result_message(opened));
    return 3;
  }
  int status = 0;
  for (int i = 1; i < argc; ++i) {
    const vor::host::Answer answer = session->CheckFile(argv[i]);
    std::printf("%s: 0x%08x %s\n", argv[i], answer.result,
                answer.result != VOR_OK ? vor_result_message(answer.result)
                                        : answer.critical ? "critical" : "not critical");
    if (answer.result != VOR_OK) status = 3;
  }
  return status;
}
