#ifndef VARNO_DEVICE_HOST_H
#define VARNO_DEVICE_HOST_H

#include "device.h"

namespace device {

// What start was given; all empty before.
const Host &host();

} // namespace device

#endif
