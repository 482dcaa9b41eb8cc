// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa.h"

#include <optional>
#include <string>

/// What viParseRsrc() gives for a resource name.
struct InterfaceOfResource
{
    ViUInt16 type;   ///< VI_INTF_ASRL, VI_INTF_TCPIP or VI_INTF_USB
    ViUInt16 number; ///< board number; 0 where the name has none
};

/// The interface that a resource name belongs to, or nothing for a name that is no serial, TCP/IP or USB resource.
/// Keywords may be in any letter case.
[[nodiscard]] std::optional<InterfaceOfResource> parseResourceName(const std::string& name);
