// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

#include <optional>
#include <string>

namespace standin
{

/// The parts of a resource name.
struct ParsedResource
{
    ViUInt16 interfaceType;    ///< VI_INTF_ASRL, VI_INTF_GPIB, VI_INTF_TCPIP or VI_INTF_USB
    ViUInt16 interfaceNumber;  ///< the board, 0 by default and for a serial port that is named by its path
    std::string resourceClass; ///< "INSTR" or "SOCKET"
    std::string expandedName;  ///< as a search lists it, see parseResourceName()
};

/// Parses the name of a serial, GPIB, TCP/IP or USB resource, with keywords in any letter case. The expanded name is
/// the same for all spellings that VISA permits: it has board, LAN device and class, no default HiSLIP port, USB IDs as
/// 0x0588, no leading zeros, and keywords in upper case. Only the USB interface 0, which is the default, stays if
/// given.
///
/// Returns nothing for other names, and if the expanded name does not fit into VI_FIND_BUFLEN. Boards and USB IDs
/// are 0 to 65535, ports 1 to 65535, GPIB addresses 0 to 30. Any thread may call.
[[nodiscard]] std::optional<ParsedResource> parseResourceName(const std::string& name);

} // namespace standin
