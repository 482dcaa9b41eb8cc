// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "UsbInstruments.h"

#include "Udev.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <string_view>

#include <libudev.h>

namespace standin
{

namespace
{

/// A USB device with USBTMC interfaces.
struct UsbInstrument
{
    std::string model;        ///< the resource string before the serial number
    std::string serialNumber; ///< from serialNumberField(); may be empty
    std::string place;        ///< PORT-1-4.2: the kernel's name of the USB port
    std::set<unsigned long> interfaces;
};

constexpr std::size_t longestSerialNumber = 128; // the name must fit into VI_FIND_BUFLEN

/// Makes a serial number fit for a resource string: drops blanks around it, cuts it to 128 bytes, and replaces bytes
/// other than ASCII letters, digits, "-", "." and "_" by "_".
std::string serialNumberField(const std::string& serialNumber)
{
    constexpr std::string_view blanks = " \t\r\n";
    // Characters that have no meaning of their own in resource strings, search expressions and visa.conf.
    constexpr std::string_view harmless = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._";
    const std::size_t first = serialNumber.find_first_not_of(blanks);
    if (first == std::string::npos)
        return {};
    std::string field = serialNumber.substr(first, serialNumber.find_last_not_of(blanks) - first + 1);
    field.resize(std::min(field.size(), longestSerialNumber));
    std::replace_if(
        field.begin(), field.end(), [&](char byte) { return harmless.find(byte) == std::string_view::npos; }, '_');
    return field;
}

/// Returns the devices with a USBTMC interface, by their sysfs paths.
std::map<std::string, UsbInstrument> usbInstruments()
{
    std::map<std::string, UsbInstrument> instruments;
    for (const UdevDevice& interface : udevDevices("usb"))
    {
        // The interface owns the returned parent.
        udev_device* device = udev_device_get_parent_with_subsystem_devtype(interface.get(), "usb", "usb_device");
        if (device == nullptr || udevAttribute(interface.get(), "bInterfaceClass") != "fe" ||
            udevAttribute(interface.get(), "bInterfaceSubClass") != "03")
            continue;
        UsbInstrument& instrument = instruments[udev_device_get_syspath(device)];
        instrument.model =
            "USB0::0x" + udevAttribute(device, "idVendor") + "::0x" + udevAttribute(device, "idProduct") + "::";
        instrument.serialNumber = serialNumberField(udevAttribute(device, "serial"));
        instrument.place = std::string("PORT-") + udev_device_get_sysname(device);
        // Hexadecimal in sysfs, decimal in a resource string.
        const std::string number = udevAttribute(interface.get(), "bInterfaceNumber");
        instrument.interfaces.insert(std::strtoul(number.c_str(), nullptr, 16));
    }
    return instruments;
}

} // namespace

std::vector<std::string> usbInstrumentResources()
{
    const std::map<std::string, UsbInstrument> instruments = usbInstruments();
    std::multiset<std::string> names;
    for (const auto& [path, instrument] : instruments)
        names.insert(instrument.model + instrument.serialNumber);

    std::vector<std::string> resources;
    std::set<std::string> taken;
    for (const auto& [path, instrument] : instruments)
    {
        // Some manufacturers give all devices the same serial number.
        std::string name = instrument.model + instrument.serialNumber;
        if (instrument.serialNumber.empty())
            name += instrument.place;
        else if (names.count(name) > 1)
            name += "-" + instrument.place;
        // This may be the own serial number of another device.
        while (!taken.insert(name).second)
            name += "-" + instrument.place;
        for (const unsigned long number : instrument.interfaces)
        {
            const std::string field = instrument.interfaces.size() > 1 ? "::" + std::to_string(number) : "";
            resources.push_back(name + field + "::INSTR");
        }
    }
    std::sort(resources.begin(), resources.end());
    return resources;
}

} // namespace standin
