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
    ViUInt16 interfaceNumber;  ///< the board, 0 by default
    std::string resourceClass; ///< "INSTR" or "SOCKET"
    std::string expandedName;  ///< with board number, LAN device and class; keywords in capitals
};

/// Parses the name of a serial, GPIB, TCP/IP or USB resource, with keywords in any letter case. Returns nothing for
/// other names, and for one whose expansion does not fit into VI_FIND_BUFLEN. Boards and USB IDs are 0 to 65535, ports
/// 1 to 65535, GPIB addresses 0 to 30; INSTR and SOCKET are no hosts. Any thread may call.
[[nodiscard]] std::optional<ParsedResource> parseResourceName(const std::string& name);

} // namespace standin
