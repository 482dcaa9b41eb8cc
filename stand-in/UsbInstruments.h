// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace standin
{

/// Returns `USB0::0xVVVV::0xPPPP::serial::INSTR` for each USBTMC interface of this machine, sorted, each once. Needs no
/// permission on the devices. Any thread may call.
///
/// The interface number precedes INSTR if a device has several interfaces. A missing serial number becomes PORT-1-4.2,
/// the kernel's name of the USB port. A serial number that several devices of a model share ends in -PORT-1-4.2.
[[nodiscard]] std::vector<std::string> usbInstrumentResources();

} // namespace standin
