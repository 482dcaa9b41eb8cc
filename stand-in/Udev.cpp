// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Udev.h"

#include <algorithm>
#include <stdexcept>

#include <libudev.h>

namespace standin
{

namespace
{

struct Release
{
    void operator()(udev* context) const { udev_unref(context); }

    void operator()(udev_enumerate* enumeration) const { udev_enumerate_unref(enumeration); }
};

} // namespace

void UdevRelease::operator()(udev_device* device) const
{
    udev_device_unref(device);
}

std::vector<UdevDevice> udevDevices(const char* subsystem, std::initializer_list<const char*> names)
{
    const std::unique_ptr<udev, Release> context(udev_new());
    const std::unique_ptr<udev_enumerate, Release> enumeration(udev_enumerate_new(context.get()));
    const auto addName = [&](const char* name) {
        return udev_enumerate_add_match_sysname(enumeration.get(), name) >= 0;
    };
    if (!enumeration || udev_enumerate_add_match_subsystem(enumeration.get(), subsystem) < 0 ||
        !std::all_of(names.begin(), names.end(), addName) || udev_enumerate_scan_devices(enumeration.get()) < 0)
        throw std::runtime_error("udev lists no devices");

    std::vector<UdevDevice> devices;
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration.get()))
    {
        // Null: the device was unplugged since the scan.
        UdevDevice device(udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        if (device)
            devices.push_back(std::move(device));
    }
    return devices;
}

std::string udevAttribute(udev_device* device, const char* name)
{
    const char* value = udev_device_get_sysattr_value(device, name);
    return value == nullptr ? std::string() : value;
}

} // namespace standin
