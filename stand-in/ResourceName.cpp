// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ResourceName.h"

#include <algorithm>
#include <array>
#include <charconv>

#include <re2/re2.h>

namespace standin
{

namespace
{

struct Form
{
    /// Captures the board number, the device between it and the class, and two numbers of the device to check.
    re2::RE2 pattern;
    ViUInt16 interfaceType;
    const char* keyword;
    const char* defaultDevice; ///< appended to the device
    const char* resourceClass;
    ViUInt16 lowest; ///< the least number to accept; the greatest is 65535
};

/// VPP-4.3, "Address string grammar". The first form that matches counts.
const std::array<Form, 7>& forms()
{
    const std::string address = R"((?:[0-2]?\d|30))"; // of GPIB, primary and secondary
    const std::string id = R"(::(?:0x[0-9A-F]{1,4}|(\d{1,5})))";
    const std::string lan = R"((?i)TCPIP(\d*)(::(?:[!-9;-Z^-~]+|\[[0-9A-F:.]+(?:%[!-9;-Z^-~]+)?\]))";
    // Never destroyed: a thread may still call while the process ends.
    static const auto& table = *new const std::array<Form, 7>{{
        {R"((?i)ASRL(\d*)()()()(?:::INSTR)?)", VI_INTF_ASRL, "ASRL", "", "INSTR", 0},
        {R"((?i)GPIB(\d*)(::)" + address + "(?:::" + address + ")?)()()(?:::INSTR)?", VI_INTF_GPIB, "GPIB", "", "INSTR",
         0},
        {R"((?i)USB(\d*)()" + id + id + R"(::[!-9;-~]+(?:::\d+)?)(?:::INSTR)?)", VI_INTF_USB, "USB", "", "INSTR", 0},
        {lan + ")()()(?:::INSTR)?", VI_INTF_TCPIP, "TCPIP", "::inst0", "INSTR", 1},
        {lan + R"(::(?:inst|gpib)\d+(?:,\d+){0,2})()()(?:::INSTR)?)", VI_INTF_TCPIP, "TCPIP", "", "INSTR", 1},
        {lan + R"(::hislip\d+(?:,(\d+))?)()(?:::INSTR)?)", VI_INTF_TCPIP, "TCPIP", "", "INSTR", 1},
        {lan + R"(::(\d+))()::SOCKET)", VI_INTF_TCPIP, "TCPIP", "", "SOCKET", 1},
    }};
    return table;
}

/// A 16-bit number, or nothing if the digits are none or too many.
std::optional<ViUInt16> toNumber(const std::string& digits)
{
    ViUInt16 number = 0;
    const auto conversion = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return conversion.ec == std::errc() ? std::optional(number) : std::nullopt;
}

/// "TCPIP0::INSTR" has a class where its host belongs.
bool lacksHost(const std::string& device)
{
    static const auto& pattern = *new const re2::RE2("(?i)::(?:INSTR|SOCKET)");
    return re2::RE2::FullMatch(device, pattern);
}

} // namespace

std::optional<ParsedResource> parseResourceName(const std::string& name)
{
    for (const Form& form : forms())
    {
        std::string boardDigits;
        std::string device;
        std::array<std::string, 2> numbers;
        if (!re2::RE2::FullMatch(name, form.pattern, &boardDigits, &device, numbers.data(), &numbers[1]))
            continue;
        const std::optional<ViUInt16> boardNumber = toNumber(boardDigits.empty() ? "0" : boardDigits);
        const auto isWrong = [&](const std::string& digits) {
            const std::optional<ViUInt16> number = toNumber(digits);
            return !digits.empty() && (!number || *number < form.lowest);
        };
        if (!boardNumber || lacksHost(device) || std::any_of(numbers.begin(), numbers.end(), isWrong))
            return std::nullopt;
        const std::string board = form.keyword + std::to_string(*boardNumber);
        const std::string expanded = board + device + form.defaultDevice + "::" + form.resourceClass;
        if (expanded.size() >= VI_FIND_BUFLEN)
            return std::nullopt;
        return ParsedResource{form.interfaceType, *boardNumber, form.resourceClass, expanded};
    }
    return std::nullopt;
}

} // namespace standin
