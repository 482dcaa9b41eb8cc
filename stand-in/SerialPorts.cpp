// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "SerialPorts.h"

#include "Udev.h"

#include <string_view>

#include <libudev.h>

namespace standin
{

namespace
{

bool isSerialPort(udev_device* device)
{
    // Devices without hardware have this path. A UART of type 0 does not exist.
    const std::string_view place = udev_device_get_devpath(device);
    return udev_device_get_devnode(device) != nullptr && place.rfind("/devices/virtual/", 0) != 0 &&
           udevAttribute(device, "type") != "0";
}

} // namespace

std::vector<std::string> serialPortResources()
{
    std::vector<std::string> resources;
    // The patterns skip the many virtual terminals, tty0, tty1 and so on: udev opens each device that matches.
    for (const UdevDevice& device : udevDevices("tty", {"[!t]*", "tty[!0-9]*"}))
    {
        if (isSerialPort(device.get()))
            resources.push_back("ASRL" + std::to_string(resources.size() + 1) + "::INSTR");
    }
    return resources;
}

} // namespace standin
