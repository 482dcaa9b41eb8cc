// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "SerialPorts.h"

#include "Udev.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include <libudev.h>

namespace standin
{

namespace
{

bool isSerialPort(udev_device* device)
{
    // Virtual terminals are many and have no parent, which is the slower way to tell them. A UART of type 0
    // ("unknown") was reserved but not found.
    const std::string_view place = udev_device_get_devpath(device);
    return udev_device_get_devnode(device) != nullptr && place.rfind("/devices/virtual/", 0) != 0 &&
           udevAttribute(device, "type") != "0";
}

} // namespace

std::vector<std::string> serialPortResources()
{
    std::vector<std::string> nodes;
    for (const UdevDevice& device : udevDevices("tty"))
    {
        if (isSerialPort(device.get()))
            nodes.emplace_back(udev_device_get_devnode(device.get()));
    }
    std::sort(nodes.begin(), nodes.end(), [](const std::string& left, const std::string& right) {
        return ::strverscmp(left.c_str(), right.c_str()) < 0;
    });

    std::vector<std::string> resources;
    for (std::size_t number = 1; number <= nodes.size(); ++number)
        resources.push_back("ASRL" + std::to_string(number) + "::INSTR");
    return resources;
}

} // namespace standin
