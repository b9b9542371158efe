// Scenarios of a host driving the criticality service through the loaded
// module, each a transcript in tests/module/scenarios: the commands a host
// issues, and under each the trace lines it wrote and the answer it gave.
// The runner replays the commands through the interfaces' slot numbers, as a
// host built from the binary contract alone would, and compares the whole
// transcript. VOR_UPDATE_TRANSCRIPTS=1 rewrites the files instead.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/module/service_fixture.h"
#include "tests/testing_host/fake_file_factory.h"
#include "tests/testing_host/child.h"

namespace vor::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kScenarios = fs::path(VOR_SOURCE_DIR) / "tests/module/scenarios";

// Calls virtual slot `slot` of `object` as a host built from the table alone would.
template <class... Args>
zel::result_t CallSlot(void* object, int slot, Args... args) {
  using Fn = zel::result_t (*)(void*, Args...);
  return reinterpret_cast<Fn>((*static_cast<void***>(object))[slot])(object, args...);
}

const std::map<std::string, std::uint32_t> kInterfaces = {
    {"allocator", zel::IAllocator::kIid},       {"tracer", zel::ITracer::kIid},
    {"files", zel::ILumoFileFactory::kIid},     {"xml", zel::IXmlFactory::kIid},
    {"flags", zel::IFeatureFlags::kIid},        {"environment", zel::IEnvironment::kIid}};

class ScenarioTest : public ServiceTest, public ::testing::WithParamInterface<std::string> {
 protected:
  // Runs one command line and appends its transcript lines to `out`.
  void Run(const std::vector<std::string>& words, std::string& out);
  // Expands $DIR, $SLEEP, \uXXXX and {N*c} in a command's argument.
  std::u16string Argument(const std::string& word) const;
  std::string Normalise(std::string line) const;

  std::unique_ptr<Child> child_;
  std::uint32_t threshold_ = zel::kTraceWarning;
  std::vector<std::string> ignored_;
  bool nullContext_ = false;
  bool nullAnswer_ = false;
};

std::u16string ScenarioTest::Argument(const std::string& word) const {
  std::string text = std::regex_replace(word, std::regex(R"(\$DIR)"), dir_.path);
  if (child_) text = std::regex_replace(text, std::regex(R"(\$SLEEP)"), child_->image());
  std::u16string wide;
  std::smatch m;
  for (auto it = text.cbegin(); it != text.cend();) {
    if (std::regex_search(it, text.cend(), m, std::regex(R"(^\\u([0-9a-f]{4}))"))) {
      wide += static_cast<char16_t>(std::stoul(m[1], nullptr, 16));
    } else if (std::regex_search(it, text.cend(), m, std::regex(R"(^\{(\d+)\*(.)\})"))) {
      wide += std::u16string(std::stoul(m[1]), static_cast<char16_t>(m.str(2)[0]));
    } else {
      wide += static_cast<char16_t>(static_cast<unsigned char>(*it++));
      continue;
    }
    it += m.length(0);
  }
  return word == "\"\"" ? u"" : wide;
}

std::string ScenarioTest::Normalise(std::string line) const {
  line = std::regex_replace(line, std::regex(dir_.path), "$DIR");
  line = std::regex_replace(line, std::regex(R"(0x[0-9a-f]{9,})"), "0x@");
  line = std::regex_replace(line, std::regex(R"(mnt:\[\d+\])"), "mnt:[@]");
  const auto self = static_cast<std::uint32_t>(getpid());
  std::vector<std::pair<std::uint32_t, std::string>> pids = {{self, "$SELF"}};
  if (child_) pids.emplace_back(child_->pid(), "$CHILD");
  for (const auto& [pid, name] : pids) {
    line = std::regex_replace(line, std::regex("\\b" + std::to_string(pid) + "\\b"), name);
    line = std::regex_replace(line, std::regex("\\b" + Hex(pid) + "\\b"), "0x" + name);
  }
  return line;
}

void ScenarioTest::Run(const std::vector<std::string>& w, std::string& out) {
  const std::string& verb = w[0];
  auto arg = [&](std::size_t i) { return i < w.size() ? Argument(w[i]) : std::u16string(); };
  auto number = [&](std::size_t i) -> std::uint32_t {
    if (w.at(i) == "$SELF") return static_cast<std::uint32_t>(getpid());
    if (w.at(i) == "$CHILD") return child_ ? child_->pid() : 0;
    return static_cast<std::uint32_t>(std::stoul(w.at(i), nullptr, 0));
  };
  auto rest = [&](std::size_t from) {  // the words from `from` on, as one text
    std::string text;
    for (std::size_t i = from; i < w.size(); ++i) text += (i > from ? " " : "") + w[i];
    return text;
  };
  auto storage = [&](std::size_t i) -> zel::IStorage* {
    return i < w.size() && w[i] == "none" ? nullptr : storage_.get();
  };
  void* context = nullContext_ ? nullptr : &context_;
  bool critical = true;  // a check must clear it
  bool* answer = nullAnswer_ ? nullptr : &critical;
  bool isCheck = true;
  std::string answerLine;  // written after the command's trace lines
  host_.tracer->Clear();

  zel::result_t code = 0;
  std::u16string path = arg(1);
  const char16_t* text = w.size() > 1 && w[1] == "NULL" ? nullptr : path.c_str();
  // The slots of the service's four interfaces, by command.
  const std::map<std::string, int> pathChecks = {{"process-path", 3}, {"file", 5}, {"registry-key", 6}};
  const std::map<std::string, std::pair<void*, int>> storageCalls = {
      {"set-storage", {storageState_.get(), 3}}, {"verify-update", {updates_.get(), 3}},
      {"handle-update", {updates_.get(), 4}}};
  const std::map<std::string, std::pair<void*, int>> plainCalls = {
      {"verify", {state_.get(), 3}}, {"init", {state_.get(), 4}}, {"rollback", {updates_.get(), 5}}};
  if (pathChecks.contains(verb)) {
    code = CallSlot(service_.get(), pathChecks.at(verb), context, text, answer);
  } else if (verb == "pid") {
    code = CallSlot(service_.get(), 4, context, number(1), answer);
  } else if (verb == "pid-with-parent") {
    code = CallSlot(service_.get(), 8, context, number(1), number(2), answer);
  } else if (verb == "registry-value") {
    const std::u16string name = arg(2);
    code = CallSlot(service_.get(), 7, context, text, name.c_str(), answer);
  } else {
    isCheck = false;
    if (verb == "create") {
      code = Create();
    } else if (verb == "release") {
      Release();
      answerLine = "  => live blocks " + std::to_string(host_.allocator->live_blocks()) +
                   ", can unload " + std::to_string(module_.CanUnloadModule()) + "\n";
    } else if (storageCalls.contains(verb)) {
      code = CallSlot(storageCalls.at(verb).first, storageCalls.at(verb).second, storage(1));
    } else if (plainCalls.contains(verb)) {
      code = CallSlot(plainCalls.at(verb).first, plainCalls.at(verb).second);
    } else if (verb == "write") {
      std::string content = std::regex_replace(rest(2), std::regex(R"(\\n)"), "\n");
      if (child_) content = std::regex_replace(content, std::regex(R"(\$SLEEP)"), child_->image());
      dir_.Write(w.at(1), content);
    } else if (verb == "child") {
      child_ = std::make_unique<Child>();
    } else if (verb == "refuse") {
      host_.locator->Refuse(kInterfaces.at(w.at(1)), w.size() > 2 ? number(2) : zel::kErrNotFound);
    } else if (verb == "allow") {
      host_.locator->Allow(kInterfaces.at(w.at(1)));
    } else if (verb == "allocations") {
      if (w.at(1) == "fail") host_.allocator->FailAlways(); else host_.allocator->FailNever();
    } else if (verb == "fake-file") {  // NAME SIZE CONTENT: a file that reports SIZE, whatever it holds
      auto files = host::MakeHostObject<FakeFileFactory>();
      files->Add(arg(1), rest(3)).reportedSize = std::stoull(w.at(2));
      host_.Register(zel::ILumoFileFactory::kIid, files.get(), zel::ILumoFileFactory::kServiceId);
    } else if (verb == "files-root") {
      Ref<host::LumoFileFactory> files = host::LumoFileFactory::Create(dir_.path + "/" + w.at(1), &code);
      host_.Register(zel::ILumoFileFactory::kIid, files.get(), zel::ILumoFileFactory::kServiceId);
    } else if (verb == "context" || verb == "answer") {
      (verb == "context" ? nullContext_ : nullAnswer_) = w.at(1) == "null";
    } else if (verb == "trace") {
      threshold_ = number(1);
    } else if (verb == "ignore") {
      ignored_.push_back(rest(1));
    } else {
      ADD_FAILURE() << "unknown command " << verb;
    }
  }
  for (const TraceEntry& entry : host_.tracer->entries()) {
    if (entry.level > threshold_) continue;
    bool shown = true;
    for (const std::string& hidden : ignored_) shown = shown && entry.text.find(hidden) == std::string::npos;
    if (shown) out += "  " + std::to_string(entry.level) + " " + Normalise(entry.text) + "\n";
  }
  static const std::set<std::string> kQuiet = {"write", "child", "refuse", "allow", "allocations",
                                              "context", "answer", "trace", "ignore", "fake-file"};
  if (answerLine.empty() && kQuiet.count(verb) == 0) {
    answerLine = "  => " + Hex(code);
    if (isCheck && answer != nullptr) answerLine += critical ? " critical" : " not critical";
    answerLine += "\n";
  }
  out += answerLine;
}

std::vector<std::string> Words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

TEST_P(ScenarioTest, TranscriptMatches) {
  const fs::path file = kScenarios / (GetParam() + ".txt");
  std::ifstream in(file);
  std::string expected, actual;
  for (std::string line; std::getline(in, line);) {
    expected += line + "\n";
    if (line.starts_with("  ")) continue;  // the last run's output
    actual += line + "\n";
    if (!line.empty() && line[0] != '#') Run(Words(line), actual);
  }
  if (std::getenv("VOR_UPDATE_TRANSCRIPTS") != nullptr) std::ofstream(file) << actual;
  EXPECT_EQ(actual, expected) << "transcript " << file.string() << " differs";
}

std::vector<std::string> ScenarioNames() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(kScenarios)) names.push_back(entry.path().stem());
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(Transcripts, ScenarioTest, ::testing::ValuesIn(ScenarioNames()),
                         [](const ::testing::TestParamInfo<std::string>& row) { return row.param; });

}  // namespace
}  // namespace vor::testing
