// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <string>
#include <vector>

struct udev;
struct udev_device;

namespace standin
{

struct UdevRelease
{
    void operator()(udev* context) const;
    void operator()(udev_device* device) const;
};

using Udev = std::unique_ptr<udev, UdevRelease>;
using UdevDevice = std::unique_ptr<udev_device, UdevRelease>;

/// Every device of a udev subsystem, in no particular order; none where udev does not answer. The devices keep the
/// context alive.
[[nodiscard]] std::vector<UdevDevice> udevDevices(const char* subsystem);

/// A sysfs attribute, empty where the device has none.
[[nodiscard]] std::string udevAttribute(udev_device* device, const char* name);

} // namespace standin
