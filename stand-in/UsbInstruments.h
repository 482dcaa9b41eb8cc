// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace standin
{

/// `USB0::0xVVVV::0xPPPP::serial::INSTR` for each USBTMC interface, with the interface number before INSTR where a
/// device has several. No permission on the device is needed.
///
/// In the serial number, "_" stands for each byte that is no ASCII letter or digit, "-", "." or "_"; blanks around it
/// and what is beyond 128 bytes are dropped. PORT- and the place where a device is plugged in stand there where it has
/// none, and behind one that another device of the same model has as well.
[[nodiscard]] std::vector<std::string> usbInstrumentResources();

} // namespace standin
