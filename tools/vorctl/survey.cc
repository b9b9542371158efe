#include "survey.h"

#include <algorithm>

#include "host_session.h"
#include "module/tool_facts.h"
#include "output.h"
#include "processes.h"

namespace vorctl {
namespace {

// The entries of the storage's list, read by the module's own code; what the
// module took when the session opened, read again.
bool AnyEntryMatchesEveryProcess(vor::host::Session& session, const Globals& globals) {
  vor::Ref<zel::IIo> file;
  std::string error;
  if (zel::Failed(vor::host::OpenLocalFile(ListFile(globals), file, error))) return false;
  std::vector<vor::facts::ProcessListEntry> entries;
  vor::facts::ReadProcessListDocument(nullptr, session.locator(), file.get(), entries);
  return std::any_of(entries.begin(), entries.end(),
                     [](const vor::facts::ProcessListEntry& e) { return (e.flags & 3) == 0; });
}

}  // namespace

Survey TakeSurvey(vor::host::Session& session, const Globals& globals) {
  Survey survey;
  survey.module = session.moduleFacts();
  survey.files = ConfirmedFileSet(session);
  const Presence present(globals);
  survey.present = static_cast<std::size_t>(
      std::count_if(survey.files.paths.begin(), survey.files.paths.end(), std::cref(present)));
  survey.list = session.processListState();
  survey.matchesEveryProcess =
      survey.list.inForce == VOR_LIST_LOADED && AnyEntryMatchesEveryProcess(session, globals);
  std::vector<std::uint32_t> pids;
  survey.processesListed = ListProcessIds(pids);
  bool denied = false;
  const std::string ownNs = MountNamespace("self", denied);
  for (std::uint32_t pid : pids) {
    const std::string ns = MountNamespace(std::to_string(pid), denied);
    if (!ns.empty() && !ownNs.empty() && ns != ownNs) ++survey.otherMountNamespace;
    if (!AskAboutProcess(session, pid, nullptr).answer.critical) continue;
    CriticalProcess process{pid, {}};
    vor::facts::ReadImagePath(pid, process.image);
    survey.critical.push_back(std::move(process));
  }
  return survey;
}

void WarnIfEveryProcess(const Survey& survey, const Globals& globals) {
  if (!survey.matchesEveryProcess) return;
  PrintWarning("the process list in force (" + ListFile(globals) +
               ") holds an entry whose flags hold neither path bit (1 or 2): it matches, and "
               "makes critical, every process in the module's mount namespace");
}

}  // namespace vorctl
