// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

struct udev_device;

namespace standin
{

struct UdevRelease
{
    void operator()(udev_device* device) const;
};

using UdevDevice = std::unique_ptr<udev_device, UdevRelease>;

/// Returns the devices of a udev subsystem whose names match one of the patterns, or all without patterns, in udev's
/// order. Throws std::runtime_error if udev fails. The devices share a udev context, so use them in one thread.
[[nodiscard]] std::vector<UdevDevice> udevDevices(const char* subsystem, std::initializer_list<const char*> names = {});

/// Returns a sysfs attribute, or an empty text.
[[nodiscard]] std::string udevAttribute(udev_device* device, const char* name);

} // namespace standin
