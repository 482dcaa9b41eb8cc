// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ResourceName.h"

#include <array>

#include <re2/re2.h>

namespace
{

struct Form
{
    re2::RE2 pattern;
    ViUInt16 interfaceType;
};

} // namespace

std::optional<InterfaceOfResource> parseResourceName(const std::string& name)
{
    // VPP-4.3, "Address string grammar". The board number is the only capture.
    static const std::array<Form, 4> forms = {{
        {R"((?i)ASRL(\d*)(?:::INSTR)?)", VI_INTF_ASRL},
        {R"((?i)USB(\d*)(?:::(?:0x[0-9A-F]{1,4}|\d{1,5})){2}::[!-9;-~]+(?:::\d+)?(?:::INSTR)?)", VI_INTF_USB},
        {R"((?i)TCPIP(\d*)::[!-9;-~]+(?:::(?:inst|hislip)\d+(?:,\d+)?)?(?:::INSTR)?)", VI_INTF_TCPIP},
        {R"((?i)TCPIP(\d*)::[!-9;-~]+::\d+::SOCKET)", VI_INTF_TCPIP},
    }};
    for (const Form& form : forms)
    {
        std::string number;
        if (!re2::RE2::FullMatch(name, form.pattern, &number))
            continue;
        ViUInt16 board = 0;
        if (!number.empty() && !re2::RE2::FullMatch(number, R"((\d+))", &board))
            return std::nullopt; // more than 16 bits
        return InterfaceOfResource{form.interfaceType, board};
    }
    return std::nullopt;
}
