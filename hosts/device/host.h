#ifndef VARNO_DEVICE_HOST_H
#define VARNO_DEVICE_HOST_H

#include "device.h"

namespace device {

// What open was given; all empty before.
const Host &host();

} // namespace device

#endif
