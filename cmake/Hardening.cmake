# Debian's hardening flags (what `dpkg-buildflags` gives with hardening=+all)
# for every target of a build without sanitizers: fortified libc calls where
# the compiler optimises, the strong stack protector, format-string checks,
# full RELRO with immediate binding, and position-independent executables.
# Sanitizer builds keep their own instrumentation and skip them.
include(CheckPIESupported)

option(VOR_HARDENING "Build with Debian's hardening flags (off under sanitizers)" ON)

if(VOR_HARDENING AND NOT VOR_SANITIZE)
  # _FORTIFY_SOURCE needs optimisation; an unoptimised build would warn.
  add_compile_definitions($<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>)
  add_compile_options(-fstack-protector-strong -Wformat -Werror=format-security -Wdate-time)
  add_link_options(LINKER:-z,relro LINKER:-z,now)
  check_pie_supported(LANGUAGES C CXX)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endif()
