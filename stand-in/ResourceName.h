// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

#include <optional>
#include <string>

namespace standin
{

/// What a resource name says.
struct ParsedResource
{
    ViUInt16 interfaceType;    ///< VI_INTF_ASRL, VI_INTF_GPIB, VI_INTF_TCPIP or VI_INTF_USB
    ViUInt16 interfaceNumber;  ///< board number; 0 where the name has none
    std::string resourceClass; ///< "INSTR" or "SOCKET"
    std::string expandedName;  ///< with board number, LAN device and class; keywords in capitals
};

/// Takes a resource name apart. Returns nothing for a name that is no serial, GPIB, TCP/IP or USB resource, and for one
/// with a number out of its range: boards and USB IDs 0 to 65535, ports 1 to 65535, GPIB addresses 0 to 30. Keywords
/// may be in any letter case. INSTR and SOCKET are no hosts.
[[nodiscard]] std::optional<ParsedResource> parseResourceName(const std::string& name);

} // namespace standin
