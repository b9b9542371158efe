// Everything a host needs to load libvor and drive its criticality service.
#ifndef VOR_VOR_H_
#define VOR_VOR_H_

#include "vor/corvane.h"
#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/module.h"
#include "vor/ref.h"
#include "vor/object.h"
#include "vor/result.h"
#include "vor/utf.h"
#include "vor/xml.h"

#endif  // VOR_VOR_H_
