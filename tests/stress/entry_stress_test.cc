// The spellings of entries asked from many threads while the links in "/"
// are read again and a small cache keeps pushing directories out: every
// answer must be the one a single thread gets.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <memory_resource>
#include <string>
#include <thread>
#include <vector>

#include "host/file_entries.h"
#include "tests/testing_host/testing_host.h"

namespace vor::testing {
namespace {

// The other spellings of `path`'s entry, as the session gets them.
std::u16string Spellings(host::FileEntries& entries, const std::string& path) {
  std::string scratch;
  host::AskedPath asked;
  std::pmr::u16string out;
  std::size_t count = 0;
  if (host::MakeAskedPath(path, scratch, asked) != 0 ||
      entries.AppendOtherSpellings(asked, out, count) != 0) {
    return u"failed";
  }
  return std::u16string(out);
}

TEST(EntryStressTest, SpellingsHoldWhileLinksAreReadAgainAndTheCacheOverflows) {
  const TempDir dir;
  ASSERT_EQ(symlink("/usr/bin", (dir.path + "/b").c_str()), 0);
  std::vector<std::string> paths = {dir.path + "/b/ls", dir.path + "/b/../lib/x",
                                    dir.path + "/b/.", dir.path + "/nosuch/x", "/usr/lib/x"};
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/usr/share", error)) {
    if (paths.size() < 40) paths.push_back(entry.path().string() + "/x");
  }
  host::FileEntries entries(8);  // far fewer than the directories asked
  ASSERT_EQ(entries.Refresh(), 0u);
  std::vector<std::u16string> expected;
  for (const std::string& path : paths) expected.push_back(Spellings(entries, path));
  ASSERT_NE(expected[0].find(u"/usr/bin/ls"), std::u16string::npos);
  ASSERT_NE(expected[1].find(u"/usr/lib/x"), std::u16string::npos);

  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::atomic<int> rounds{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      while (!stop.load()) {
        for (std::size_t i = 0; i < paths.size(); ++i) {
          const std::size_t k = (i * (t + 1)) % paths.size();  // each thread its own order
          if (Spellings(entries, paths[k]) != expected[k]) ++wrong;
        }
        ++rounds;
      }
    });
  }
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(entries.Refresh(), 0u);
    std::this_thread::yield();
  }
  while (rounds.load() < 200) std::this_thread::yield();
  stop.store(true);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
}  // namespace vor::testing
