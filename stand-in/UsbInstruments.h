// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace standin
{

/// Makes a serial number fit for a resource string: drops blanks around it, cuts it to 128 bytes, and replaces bytes
/// other than ASCII letters, digits, "-", "." and "_" by "_".
[[nodiscard]] std::string serialNumberField(const std::string& serialNumber);

/// Returns `USB0::0xVVVV::0xPPPP::serial::INSTR` for each USBTMC interface of this machine, sorted, each once. Needs no
/// permission on the devices. Any thread may call.
///
/// The interface number precedes INSTR if a device has several interfaces. A missing serial number becomes PORT-1-4.2,
/// the kernel's name of the USB port. A serial number that several devices of a model share ends in -PORT-1-4.2.
[[nodiscard]] std::vector<std::string> usbInstrumentResources();

} // namespace standin
