// The three symbols a host resolves after dlopen("libvor.so").
#ifndef VOR_MODULE_H_
#define VOR_MODULE_H_

#include <cstddef>
#include <cstdint>

#include "vor/object.h"

extern "C" {

struct ModuleVersionRecord {  // 40 bytes, little-endian
  std::uint32_t format;       // 1
  std::uint16_t version[4];   // major, minor, build, revision
  std::uint16_t version2[4];  // second quadruple; equals `version` in this build
  std::uint8_t reserved[20];
};

static_assert(sizeof(ModuleVersionRecord) == 40);
static_assert(offsetof(ModuleVersionRecord, version) == 4);
static_assert(offsetof(ModuleVersionRecord, version2) == 12);
static_assert(offsetof(ModuleVersionRecord, reserved) == 20);

using zelGetObjectFactoryFn = zel::result_t (*)(zel::IServiceLocator* locator,
                                                std::uint32_t classId,
                                                zel::IObjectFactory** out);
using zelCanUnloadModuleFn = zel::result_t (*)();

// Returns the class factory of `classId`; an unknown class gives 0x80000043.
zel::result_t zelGetObjectFactory(zel::IServiceLocator* locator, std::uint32_t classId,
                                  zel::IObjectFactory** out);
// 0 when no object of the module is alive, 1 otherwise.
zel::result_t zelCanUnloadModule(void);
extern const ModuleVersionRecord zelModuleVersion;

}  // extern "C"

#endif  // VOR_MODULE_H_
