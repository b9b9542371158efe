// What the session tells of the process list and of what the module found.
#include "host/session_impl.h"

namespace vor::host {

ProcessListState Session::processListState() const {
  const std::shared_ptr<Instance> instance = impl_->current.load();
  ProcessListState state;
  if (instance->facts.listTaken()) {
    state.inForce = VOR_LIST_LOADED;
    state.entries = instance->facts.listEntries();
  }
  std::lock_guard<std::mutex> hold(impl_->loadMutex);
  state.lastLoad = impl_->lastLoad;
  return state;
}

ListStatus Session::processList() const {
  const ProcessListState state = processListState();
  ListStatus status;
  if (zel::Failed(state.lastLoad.result)) {
    status.state = VOR_LIST_FAILED;
    status.result = state.lastLoad.result;
    status.syntax = state.lastLoad.syntax;
  } else {
    status.state = state.inForce;
    status.entries = state.entries;
  }
  return status;
}

ModuleFacts Session::moduleFacts() const {
  const std::shared_ptr<Instance> instance = impl_->current.load();
  const StartupFacts& facts = instance->facts;
  return {facts.releaseResult(), std::string(facts.releaseName()),
          std::string(facts.releaseVersion()), facts.libraryDirectories(), facts.errors()};
}

std::vector<std::string> Session::startupLines() const {
  return impl_->current.load()->facts.keptLines();
}

XmlSyntaxError Session::lastXmlSyntaxError() const {
  const XmlParseError parse = impl_->xml->last_parse_error();
  return {parse.line, parse.column, parse.description};
}

}  // namespace vor::host
