#include "bench/bench_support.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "vor/utf.h"

namespace vor::bench {

void* CountingAllocator::Alloc(std::size_t size) {
  auto* block = static_cast<std::size_t*>(std::malloc(size + kHeader));
  if (block == nullptr) return nullptr;
  *block = size;
  bytes_ += size;
  ++blocks_;
  return reinterpret_cast<char*>(block) + kHeader;
}

void* CountingAllocator::Realloc(void* p, std::size_t size) {
  void* q = Alloc(size);
  if (q == nullptr || p == nullptr) return q;
  const std::size_t old = *reinterpret_cast<std::size_t*>(static_cast<char*>(p) - kHeader);
  std::memcpy(q, p, old < size ? old : size);
  Free(p);
  return q;
}

void CountingAllocator::Free(void* p) {
  if (p == nullptr) return;
  auto* block = reinterpret_cast<std::size_t*>(static_cast<char*>(p) - kHeader);
  bytes_ -= *block;
  --blocks_;
  std::free(block);
}

std::u16string Wide(std::string_view utf8) {
  std::u16string out;
  utf::Utf8ToUtf16(utf8, [&](char16_t c) { out += c; });
  return out;
}

pid_t SpawnSleeper() {
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::execl("/bin/sleep", "sleep", "600", static_cast<char*>(nullptr));
    ::_exit(127);
  }
  ::usleep(50000);  // let exec replace the image
  return pid;
}

void Reap(pid_t pid) {
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

void RunBaselineLookups(benchmark::State& state, const std::unordered_set<std::string>& set,
                        const std::vector<std::u16string>& paths, bool expected,
                        std::size_t first) {
  // A reused string written through a raw pointer: the cheapest conversion a
  // plain std::string key allows, so the baseline is not handicapped.
  std::string utf8;
  std::size_t i = first;
  for (auto _ : state) {
    const std::u16string& path = paths[i++ % paths.size()];
    utf8.resize(path.size() * 3);
    char* out = utf8.data();
    utf::Utf16ToUtf8(path, [&](char c) { *out++ = c; });
    utf8.resize(out - utf8.data());
    const bool found = set.find(utf8) != set.end();
    if (found != expected) state.SkipWithError("wrong answer");
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(state.iterations());
}

void RunMinimalProcReads(benchmark::State& state) {
  const pid_t child = SpawnSleeper();
  const std::string base = "/proc/" + std::to_string(child);
  const std::string parent = "/proc/" + std::to_string(::getpid());
  char buffer[4096];
  static char status[65536];
  for (auto _ : state) {
    benchmark::DoNotOptimize(::readlink((base + "/exe").c_str(), buffer, sizeof buffer));
    benchmark::DoNotOptimize(::readlink((base + "/ns/mnt").c_str(), buffer, sizeof buffer));
    const int fd = ::open((base + "/status").c_str(), O_RDONLY | O_CLOEXEC);
    benchmark::DoNotOptimize(::read(fd, status, sizeof status));
    ::close(fd);
    benchmark::DoNotOptimize(::readlink((parent + "/exe").c_str(), buffer, sizeof buffer));
    benchmark::DoNotOptimize(::readlink((parent + "/ns/mnt").c_str(), buffer, sizeof buffer));
  }
  Reap(child);
}

}  // namespace vor::bench
