#include "tests/sweep/faulty_services.h"

namespace vor::testing {

namespace {

// Wraps a node the inner factory handed out, so its calls count as steps too.
zel::result_t WrapNode(zel::result_t code, Ref<zel::IXmlNode>& node,
                       const std::shared_ptr<FaultPlan>& plan, zel::IXmlNode** out) {
  if (code != 0 || !node) return code;
  *out = host::MakeHostObject<FaultyXmlNode>(std::move(node), plan).detach();
  return 0;
}

}  // namespace

zel::result_t FaultyIo::Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->Read(buffer, size, bytesRead);
}

zel::result_t FaultyIo::Write(const void* buffer, std::uint32_t size, std::uint32_t* bytesWritten) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->Write(buffer, size, bytesWritten);
}

zel::result_t FaultyIo::Seek(std::int64_t offset, std::uint32_t origin, std::uint64_t* position) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->Seek(offset, origin, position);
}

zel::result_t FaultyIo::SetSize(std::uint64_t size) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->SetSize(size);
}

zel::result_t FaultyIo::GetSize(std::uint64_t* size) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->GetSize(size);
}

zel::result_t FaultyStorage::Open(const char16_t* name, std::uint32_t mode, zel::IIo** out) {
  if (plan_->Step()) {
    if (out != nullptr) *out = nullptr;
    return kInjectedFault;
  }
  Ref<zel::IIo> io;
  const zel::result_t code = inner_->Open(name, mode, io.put());
  if (code != 0 || !io) return code;
  *out = host::MakeHostObject<FaultyIo>(std::move(io), plan_).detach();
  return 0;
}

zel::result_t FaultyXmlNode::GetDocument(zel::IXmlNode** out) {
  if (plan_->Step()) return kInjectedFault;
  Ref<zel::IXmlNode> node;
  return WrapNode(inner_->GetDocument(node.put()), node, plan_, out);
}

zel::result_t FaultyXmlNode::GetParent(zel::IXmlNode** out) {
  if (plan_->Step()) return kInjectedFault;
  Ref<zel::IXmlNode> node;
  return WrapNode(inner_->GetParent(node.put()), node, plan_, out);
}

zel::result_t FaultyXmlNode::GetType(std::uint32_t* type) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->GetType(type);
}

zel::result_t FaultyXmlNode::GetName(zel::IStringOut* name) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->GetName(name);
}

zel::result_t FaultyXmlNode::GetChildCount(std::uint32_t* count) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->GetChildCount(count);
}

zel::result_t FaultyXmlNode::FindChild(const char* name, zel::IXmlNode** out) {
  if (plan_->Step()) return kInjectedFault;
  Ref<zel::IXmlNode> node;
  return WrapNode(inner_->FindChild(name, node.put()), node, plan_, out);
}

zel::result_t FaultyXmlNode::GetChild(std::uint32_t index, zel::IXmlNode** out) {
  if (plan_->Step()) return kInjectedFault;
  Ref<zel::IXmlNode> node;
  return WrapNode(inner_->GetChild(index, node.put()), node, plan_, out);
}

zel::result_t FaultyXmlNode::GetText(zel::IStringOut* text) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->GetText(text);
}

zel::result_t FaultyXmlNode::GetValueCount(std::uint32_t* count) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->GetValueCount(count);
}

zel::result_t FaultyXmlNode::GetValueName(std::uint32_t index, zel::IStringOut* name) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->GetValueName(index, name);
}

zel::result_t FaultyXmlNode::GetValue(const char* name, zel::IStringOut* value,
                                      std::uint32_t flags) {
  if (plan_->Step()) return kInjectedFault;
  return inner_->GetValue(name, value, flags);
}

zel::result_t FaultyXmlFactory::CreateDocument(zel::IXmlNode** out) {
  if (plan_->Step()) return kInjectedFault;
  Ref<zel::IXmlNode> node;
  return WrapNode(inner_->CreateDocument(node.put()), node, plan_, out);
}

zel::result_t FaultyXmlFactory::OpenDocument(zel::IIo* source, std::uint32_t format,
                                             zel::IXmlNode** out) {
  if (plan_->Step()) return kInjectedFault;
  Ref<zel::IXmlNode> node;
  return WrapNode(inner_->OpenDocument(source, format, node.put()), node, plan_, out);
}

zel::result_t RecordingLocator::GetInterface(std::uint32_t iid, std::uint32_t serviceId,
                                             void** out) {
  asks_.fetch_add(1);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    asked_.insert(iid);
  }
  return inner_->GetInterface(iid, serviceId, out);
}

void RecordingLocator::ResetCount() {
  asks_.store(0);
  std::lock_guard<std::mutex> lock(mutex_);
  asked_.clear();
}

std::set<std::uint32_t> RecordingLocator::asked() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return asked_;
}

}  // namespace vor::testing
