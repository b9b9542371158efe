// libvor.so carries its own copy of the C++ runtime (-static-libstdc++): what
// that copy allocated for itself at load must go back to the host at unload,
// or every load/unload cycle of a long-lived host leaks it.
#ifdef VOR_STATIC_RUNTIME

namespace __gnu_cxx {
// libstdc++'s own release of its emergency exception-handling pool, the one
// memory checkers call at exit; no header declares it.
void __freeres();
}  // namespace __gnu_cxx

namespace {

// Priority 101 runs this after every other finaliser of the module, the
// static destructors of __cxa_finalize included: no module code can throw
// once the pool is gone.
__attribute__((destructor(101))) void ReleaseRuntime() { __gnu_cxx::__freeres(); }

}  // namespace

#endif  // VOR_STATIC_RUNTIME
