// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ResourceName.h"

#include <array>
#include <charconv>

#include <re2/re2.h>

namespace standin
{

namespace
{

struct Form
{
    re2::RE2 pattern; ///< captures the board number and what stands between it and the class
    ViUInt16 interfaceType;
    const char* keyword;
    const char* defaultDevice; ///< what stands before the class where the name leaves it out
    const char* resourceClass;
};

constexpr const char* host = R"((?:[!-9;-Z^-~]+|\[[!-Z^-~]+\]))";

/// VPP-4.3, "Address string grammar". The form that leaves out the LAN device stands before the one that has it.
const std::array<Form, 5>& forms()
{
    // Never destroyed: a thread of the client may still call while the process ends.
    static const auto& table = *new const std::array<Form, 5>{{
        {R"((?i)ASRL(\d*)()(?:::INSTR)?)", VI_INTF_ASRL, "ASRL", "", "INSTR"},
        {R"((?i)USB(\d*)((?:::(?:0x[0-9A-F]{1,4}|\d{1,5})){2}::[!-9;-~]+(?:::\d+)?)(?:::INSTR)?)", VI_INTF_USB, "USB",
         "", "INSTR"},
        {std::string("(?i)TCPIP(\\d*)(::") + host + ")(?:::INSTR)?", VI_INTF_TCPIP, "TCPIP", "::inst0", "INSTR"},
        {std::string("(?i)TCPIP(\\d*)(::") + host + R"(::(?:inst|hislip)\d+(?:,\d+)?)(?:::INSTR)?)", VI_INTF_TCPIP,
         "TCPIP", "", "INSTR"},
        {std::string("(?i)TCPIP(\\d*)(::") + host + R"(::\d+)::SOCKET)", VI_INTF_TCPIP, "TCPIP", "", "SOCKET"},
    }};
    return table;
}

} // namespace

std::optional<ParsedResource> parseResourceName(const std::string& name)
{
    for (const Form& form : forms())
    {
        std::string number;
        std::string device;
        if (!re2::RE2::FullMatch(name, form.pattern, &number, &device))
            continue;
        ViUInt16 board = 0;
        const auto conversion = std::from_chars(number.data(), number.data() + number.size(), board);
        if (conversion.ec == std::errc::result_out_of_range)
            return std::nullopt;
        const std::string expanded = form.keyword + std::to_string(board) + device + form.defaultDevice + "::";
        return ParsedResource{form.interfaceType, board, form.resourceClass, expanded + form.resourceClass};
    }
    return std::nullopt;
}

} // namespace standin
