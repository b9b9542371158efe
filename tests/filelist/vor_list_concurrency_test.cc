#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "filelist/vor_list.h"
#include "tests/filelist/empty_storage.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

// Lookups on several threads while the list is rebuilt over and over: a
// reader sees either the whole set or waits, never a half-built one.
TEST(VorListConcurrency, LookupsDuringUpdates) {
  testing::TestingHost host;
  host.tracer->set_threshold(zel::kTraceWarning);  // keep the per-lookup lines off
  Ref<testing::EmptyStorage> storage = host::MakeHostObject<testing::EmptyStorage>();
  VorList list(host.locator.get());
  ASSERT_EQ(list.Init(host.allocator.get(), {zel::string("Debian"), zel::string("12")}), 0u);
  ASSERT_EQ(list.Update(storage.get()), 0u);

  const std::u16string hits[] = {u"/usr/bin/ls", u"/lib/x86_64-linux-gnu/libc.so.6",
                                 u"/etc/ld.so.conf.d/%OS_ARCH%-gnu.conf", u"/sbin/init"};
  const std::u16string misses[] = {u"/usr/bin/LS", u"/tmp/x", u"/usr/bin/ls/"};
  std::atomic<bool> stop{false};
  std::atomic<int> wrongAnswers{0};

  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&, t] {
      do {  // every reader looks at least once
        bool found = false;
        for (const std::u16string& path : hits) wrongAnswers += list.IsInListWide(path, found) != 0 || !found;
        for (const std::u16string& path : misses) wrongAnswers += list.IsInListWide(path, found) != 0 || found;
        if (t == 0 && !list.IsReady()) ++wrongAnswers;
        if (t == 1) {
          std::vector<std::string> paths;
          if (list.CopySortedPaths(paths) != 0 || paths.size() < 500) ++wrongAnswers;
        }
      } while (!stop.load());
    });
  }
  for (int i = 0; i < 30; ++i) ASSERT_EQ(list.Update(storage.get()), 0u);
  stop = true;
  for (std::thread& reader : readers) reader.join();

  EXPECT_EQ(wrongAnswers.load(), 0);
  EXPECT_TRUE(host.tracer->lines(zel::kTraceError).empty());
}

}  // namespace
}  // namespace vor
