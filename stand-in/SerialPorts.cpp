// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "SerialPorts.h"

#include "Trace.h"
#include "Udev.h"

#include <string_view>

#include <libudev.h>

namespace standin
{

namespace
{

bool isSerialPort(udev_device* device)
{
    const std::string_view place = udev_device_get_devpath(device);
    const bool hasHardware = udevAttribute(device, "type") != "0";
    if (!hasHardware)
        trace("serial port ", udev_device_get_sysname(device), ": skipped, the kernel knows no hardware for it");
    return udev_device_get_devnode(device) != nullptr && place.rfind("/devices/virtual/", 0) != 0 && hasHardware;
}

} // namespace

std::vector<std::string> serialPortResources()
{
    std::vector<std::string> resources;
    // The patterns skip the many virtual terminals, tty0 and so on, because udev opens each device that matches.
    for (const UdevDevice& device : udevDevices("tty", {"[!t]*", "tty[!0-9]*"}))
    {
        if (!isSerialPort(device.get()))
            continue;
        resources.push_back("ASRL" + std::to_string(resources.size() + 1) + "::INSTR");
        trace("serial port ", resources.back(), ": ", udev_device_get_devnode(device.get()));
    }
    return resources;
}

} // namespace standin
