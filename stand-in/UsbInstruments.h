// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <set>
#include <string>
#include <vector>

namespace standin
{

/// A USB device with USBTMC interfaces.
struct UsbInstrument
{
    std::string model;        ///< the resource string up to the serial number
    std::string serialNumber; ///< as it stands in a resource string; empty where the device has none
    std::string place;        ///< where it is plugged in
    std::set<unsigned long> interfaces;
};

/// A serial number as it can stand in a resource string: "_" stands for each byte that is no ASCII letter or digit,
/// "-",
/// "." or "_". Blanks around it and what is beyond 128 bytes are dropped.
[[nodiscard]] std::string serialNumberField(const std::string& serialNumber);

/// `USB0::0xVVVV::0xPPPP::serial::INSTR` for each interface, in order and each once, with the interface number before
/// INSTR where a device has several. The place stands in a serial number's stead where there is none, and behind one
/// that another device of the same model has as well.
[[nodiscard]] std::vector<std::string> usbResourceNames(const std::vector<UsbInstrument>& instruments);

/// The names of the USBTMC interfaces of this machine. No permission on the devices is needed. A place is `PORT-` and
/// the kernel's name for it, such as 1-4.2.
[[nodiscard]] std::vector<std::string> usbInstrumentResources();

} // namespace standin
