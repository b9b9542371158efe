#include "module/object_count.h"

namespace vor {

std::atomic<std::int32_t> ModuleObjectCount{0};

}  // namespace vor
