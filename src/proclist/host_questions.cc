#include "proclist/host_questions.h"

#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/text.h"

namespace vor {
namespace {

constexpr char kNamespacesFlag[] = "disable_vor.process.namespaces.workaround";
constexpr char16_t kProductTypeText[] = u"%ProductType%";
constexpr std::u16string_view kMobrl = u"mobr_linux";

}  // namespace

bool IsNamespacesWorkaroundDisabled(const zel::Tracer& trace, zel::IServiceLocator* locator) {
  try {
    Ref<zel::IFeatureFlags> flags;
    if (zel::Failed(zel::TryGetInterface(locator, flags))) {
      ZEL_TRACE(trace, zel::kTraceInfo) << "Can't get feature flags interface";
      return false;
    }
    zel::string value;
    zel::StringSink sink(value);
    if (zel::Failed(flags->GetFlag(kNamespacesFlag, &sink))) {
      ZEL_TRACE(trace, zel::kTraceInfo) << "Can't found namespaces flag";
      return false;
    }
    if (value.view() == "true") {
      ZEL_TRACE(trace, zel::kTraceInfo) << "Found process namespaces flag!";
      return true;
    }
    ZEL_TRACE(trace, zel::kTraceInfo)
        << "Unexpected process namespaces flag <" << value.view() << ">!";
    return false;
  } catch (...) {
    zel::ResultFromCurrentException(trace, "Exception caught at line 577 => ");
    return false;
  }
}

bool IsProductMOBRL(const zel::Tracer& trace, zel::IServiceLocator* locator) {
  try {
    Ref<zel::IEnvironment> environment;
    zel::result_t code = zel::TryGetInterface(locator, environment);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Can't get environment interface with error 0x" << zel::Hex{code};
      return false;
    }
    zel::u16string value;
    zel::WideStringSink sink(value);
    code = environment->ExpandStrings(kProductTypeText, &sink);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace, zel::kTraceError)
          << "Can't expand product type with error 0x" << zel::Hex{code};
      return false;
    }
    if (value.view() == kProductTypeText) {
      ZEL_TRACE(trace, zel::kTraceError) << "Can't query product type";
      return false;
    }
    if (value.view() == kMobrl) {
      ZEL_TRACE(trace, zel::kTraceInfo) << "Product type is MOBRL";
      return true;
    }
    ZEL_TRACE(trace, zel::kTraceInfo) << "Product type is <" << value.view() << ">";
    return false;
  } catch (...) {
    zel::ResultFromCurrentException(trace, "Exception caught at line 603 => ");
    return false;
  }
}

}  // namespace vor
