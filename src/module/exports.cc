// The module's three exports; everything else in libvor.so is hidden.
#include <exception>

#include "module/class_factory.h"
#include "module/object_count.h"
#include "runtime/result.h"
#include "vor/corvane.h"
// The exports are declared with default visibility; all else stays hidden.
#pragma GCC visibility push(default)
#include "vor/module.h"
#pragma GCC visibility pop

namespace {

constexpr std::uint32_t kCrashClassId = 0xbad1bad1;

constexpr char kVersionText[] =
    "$Company: Velmorant Lab $\n"
    "$FileDescription: Critical object detection module $\n"
    "$FileVersion: 1.7.4.0 $\n"
    "$LegalCopyright: Copyright (C) Velmorant Lab $\n"
    "$LegalTrademarks: Velmorant is a trademark of Velmorant Lab $\n"
    "$ProductName: Velmorant $\n"
    "$ProductVersion: 1.7.4.0 $\n"
    "$InternalName: vor $\n"
    "$OriginalFilename: libvor.so $";

// Read once at load so that the version text stays in the module's image.
[[maybe_unused]] const char* volatile version_text_anchor = kVersionText;

}  // namespace

extern "C" {

const ModuleVersionRecord zelModuleVersion = {
    1, {1, 7, 4, 0}, {1, 7, 4, 0}, {}};

zel::result_t zelGetObjectFactory(
    zel::IServiceLocator* locator, std::uint32_t classId, zel::IObjectFactory** out) {
  if (classId == vor::kCorvaneClassId) {
    return vor::ClassFactory::Create(locator, zel::IObjectFactory::kIid,
                                     reinterpret_cast<void**>(out));
  }
  if (classId == kCrashClassId) std::terminate();  // the host's deliberate crash hook
  if (out != nullptr) *out = nullptr;
  return zel::kErrNotImplemented;
}

zel::result_t zelCanUnloadModule(void) {
  return vor::ModuleObjectCount.load() == 0 ? zel::kOk : zel::kFalse;
}

}  // extern "C"
