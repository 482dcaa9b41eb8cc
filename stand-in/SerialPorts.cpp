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
    // A virtual terminal has no parent either, but its path is quicker to test. A UART of type 0 does not exist.
    const std::string_view place = udev_device_get_devpath(device);
    return udev_device_get_devnode(device) != nullptr && place.rfind("/devices/virtual/", 0) != 0 &&
           udevAttribute(device, "type") != "0";
}

} // namespace

std::vector<std::string> serialPortResources()
{
    std::vector<std::string> resources;
    // udev opens each device. Most are virtual terminals: tty0, tty1, ...
    for (const UdevDevice& device : udevDevices("tty", {"[!t]*", "tty[!0-9]*"}))
    {
        if (isSerialPort(device.get()))
            resources.push_back("ASRL" + std::to_string(resources.size() + 1) + "::INSTR");
    }
    return resources;
}

} // namespace standin
