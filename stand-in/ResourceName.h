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
    ViUInt16 interfaceType;    ///< VI_INTF_ASRL, VI_INTF_TCPIP or VI_INTF_USB
    ViUInt16 interfaceNumber;  ///< board number; 0 where the name has none
    std::string resourceClass; ///< "INSTR" or "SOCKET"
    std::string expandedName;  ///< with board number, LAN device and class; keywords in capitals
};

/// Takes a resource name apart, or gives nothing for a name that is no serial, TCP/IP or USB resource. Keywords may
/// be in any letter case.
[[nodiscard]] std::optional<ParsedResource> parseResourceName(const std::string& name);

} // namespace standin
