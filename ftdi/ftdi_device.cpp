#include "ftdi/ftdi_device.h"

ftdi_device::~ftdi_device() = default;
