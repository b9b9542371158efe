// The two questions the decision asks the host afresh on every call: is the
// namespace workaround switched off by a feature flag, and is this product
// the MOBRL edition. A service that cannot be reached only makes the answer
// false.
#ifndef VOR_PROCLIST_HOST_QUESTIONS_H_
#define VOR_PROCLIST_HOST_QUESTIONS_H_

#include "runtime/trace.h"
#include "vor/object.h"

namespace vor {

// The flag "disable_vor.process.namespaces.workaround" is exactly "true".
bool IsNamespacesWorkaroundDisabled(const zel::Tracer& trace, zel::IServiceLocator* locator);
// "%ProductType%" expands to exactly "mobr_linux".
bool IsProductMOBRL(const zel::Tracer& trace, zel::IServiceLocator* locator);

}  // namespace vor

#endif  // VOR_PROCLIST_HOST_QUESTIONS_H_
