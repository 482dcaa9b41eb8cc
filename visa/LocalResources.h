// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

/// `ASRLn::INSTR` for each serial port, numbered from 1 in the natural order of the device nodes. A UART that the
/// kernel lists without finding one is left out.
[[nodiscard]] std::vector<std::string> serialPortResources();

/// `USB0::0xVVVV::0xPPPP::serial::INSTR` for each USBTMC interface, with the interface number before INSTR where a
/// device has several. No permission on the device is needed.
[[nodiscard]] std::vector<std::string> usbInstrumentResources();
