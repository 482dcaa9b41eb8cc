// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "LocalResources.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string_view>

#include <libudev.h>

namespace
{

struct UdevRelease
{
    void operator()(udev* context) const { udev_unref(context); }

    void operator()(udev_enumerate* enumeration) const { udev_enumerate_unref(enumeration); }

    void operator()(udev_device* device) const { udev_device_unref(device); }
};

using Udev = std::unique_ptr<udev, UdevRelease>;
using UdevEnumeration = std::unique_ptr<udev_enumerate, UdevRelease>;
using UdevDevice = std::unique_ptr<udev_device, UdevRelease>;

std::string attribute(udev_device* device, const char* name)
{
    const char* value = udev_device_get_sysattr_value(device, name);
    return value == nullptr ? std::string() : value;
}

/// Every device of a subsystem, in the order that udev gives them.
std::vector<UdevDevice> devices(udev* context, const char* subsystem)
{
    std::vector<UdevDevice> found;
    const UdevEnumeration enumeration(udev_enumerate_new(context));
    if (!enumeration || udev_enumerate_add_match_subsystem(enumeration.get(), subsystem) < 0 ||
        udev_enumerate_scan_devices(enumeration.get()) < 0)
        return found;

    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration.get()))
    {
        // A device that was unplugged since the scan gives null.
        UdevDevice device(udev_device_new_from_syspath(context, udev_list_entry_get_name(entry)));
        if (device)
            found.push_back(std::move(device));
    }
    return found;
}

bool isSerialPort(udev_device* device)
{
    // Virtual terminals have no parent; a UART of type 0 ("unknown") was reserved but not found.
    return udev_device_get_devnode(device) != nullptr && udev_device_get_parent(device) != nullptr &&
           attribute(device, "type") != "0";
}

bool isUsbtmcInterface(udev_device* device)
{
    return attribute(device, "bInterfaceClass") == "fe" && attribute(device, "bInterfaceSubClass") == "03";
}

/// A serial number as it can stand in a resource string: without surrounding blanks, and with "_" for every byte
/// that is not graphic ASCII or that separates or cannot stand in the field.
std::string serialNumberField(const std::string& serialNumber)
{
    constexpr std::string_view blanks = " \t\r\n";
    constexpr std::string_view reserved = "\"*/:?\\";
    const std::size_t first = serialNumber.find_first_not_of(blanks);
    if (first == std::string::npos)
        return {};
    std::string field = serialNumber.substr(first, serialNumber.find_last_not_of(blanks) - first + 1);
    std::replace_if(
        field.begin(), field.end(),
        [&](char byte) { return byte <= ' ' || byte > '~' || reserved.find(byte) != std::string_view::npos; }, '_');
    return field;
}

/// `0x` and the four digits of a sysfs number such as "1ab1".
std::string usbId(std::string digits)
{
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char digit) { return static_cast<char>(std::toupper(digit)); });
    return "0x" + digits;
}

/// The resource string of a USBTMC device up to its serial number.
std::string usbDeviceName(udev_device* device)
{
    std::string serialNumber = serialNumberField(attribute(device, "serial"));
    // The place that a device is plugged into tells two of a kind apart, and stays while they are plugged in.
    if (serialNumber.empty())
        serialNumber = std::string("PORT-") + udev_device_get_sysname(device);
    return "USB0::" + usbId(attribute(device, "idVendor")) + "::" + usbId(attribute(device, "idProduct")) +
           "::" + serialNumber;
}

} // namespace

std::vector<std::string> serialPortResources()
{
    const Udev context(udev_new());
    if (!context)
        return {};
    std::vector<std::string> nodes;
    for (const UdevDevice& device : devices(context.get(), "tty"))
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

std::vector<std::string> usbInstrumentResources()
{
    const Udev context(udev_new());
    if (!context)
        return {};
    // The number of an interface is hexadecimal in sysfs and decimal in a resource string.
    std::map<std::string, std::set<unsigned long>> interfacesOfDevice;
    for (const UdevDevice& interface : devices(context.get(), "usb"))
    {
        // The parent belongs to its child and is released with it.
        udev_device* device = udev_device_get_parent_with_subsystem_devtype(interface.get(), "usb", "usb_device");
        if (device != nullptr && isUsbtmcInterface(interface.get()))
        {
            const std::string number = attribute(interface.get(), "bInterfaceNumber");
            interfacesOfDevice[usbDeviceName(device)].insert(std::strtoul(number.c_str(), nullptr, 16));
        }
    }

    std::vector<std::string> resources;
    for (const auto& [device, interfaces] : interfacesOfDevice)
    {
        for (const unsigned long number : interfaces)
            resources.push_back(device + (interfaces.size() > 1 ? "::" + std::to_string(number) : "") + "::INSTR");
    }
    return resources;
}
