// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ResourceName.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <vector>

#include <re2/re2.h>

#include <strings.h>

namespace standin
{

namespace
{

using Fields = std::vector<std::string>;

/// Splits at "::" outside brackets. IPv6 hosts, and LAN devices such as usb0[1::2::A::0], contain it in brackets.
Fields split(const std::string& name)
{
    Fields fields(1);
    for (std::size_t at = 0, length = 0; at < name.size(); at += length)
    {
        const bool isSeparator = name.compare(at, 2, "::") == 0;
        const std::size_t end = name[at] == '[' ? name.find(']', at) : at;
        length = isSeparator ? 2 : end == std::string::npos ? 1 : end + 1 - at;
        if (isSeparator)
            fields.emplace_back();
        else
            fields.back().append(name, at, length);
    }
    return fields;
}

/// Compares in any letter case.
bool isSame(const std::string& left, const std::string& right)
{
    return ::strcasecmp(left.c_str(), right.c_str()) == 0;
}

/// Returns the number that a text consists of, or nothing if it is no number of 16 bits.
std::optional<ViUInt16> toNumber(const std::string& text, int base = 10)
{
    ViUInt16 number = 0;
    const char* end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && parsed == end ? std::optional(number) : std::nullopt;
}

// Each complete function checks fields between board and class, and changes them to the form of a found name.

bool completeNumber(std::string& field, int least, int most = 65535)
{
    const std::optional<ViUInt16> number = toNumber(field);
    field = std::to_string(number.value_or(0));
    return number && *number >= least && *number <= most;
}

bool completeGpib(Fields& fields)
{
    return (fields.size() == 1 || fields.size() == 2) && completeNumber(fields.front(), 0, 30) &&
           completeNumber(fields.back(), 0, 30);
}

bool completeUsbId(std::string& id)
{
    const bool isHexadecimal = isSame(id.substr(0, 2), "0x");
    const std::optional<ViUInt16> number = isHexadecimal ? toNumber(id.substr(2), 16) : toNumber(id);
    if (!number)
        return false;
    std::array<char, sizeof "0xFFFF"> text = {};
    static_cast<void>(std::snprintf(text.data(), text.size(), "0x%04X", *number));
    id = text.data();
    return true;
}

bool completeUsb(Fields& fields)
{
    static const auto& serialNumber = *new const re2::RE2("[ -9;-~]+");
    return (fields.size() == 3 || (fields.size() == 4 && completeNumber(fields[3], 0))) && completeUsbId(fields[0]) &&
           completeUsbId(fields[1]) && re2::RE2::FullMatch(fields[2], serialNumber);
}

bool isHost(const std::string& field)
{
    static const auto& host = *new const re2::RE2(R"([!-9;-Z^-~]+|\[[0-9A-Fa-f:.]+(%[!-9;-Z^-~]+)?\])");
    return re2::RE2::FullMatch(field, host);
}

/// A HiSLIP device loses its default port. Any other device is free text.
bool completeDevice(std::string& device)
{
    static const auto& hiSlipWithPort = *new const re2::RE2(R"((?i)(hislip\d+),(\d+))");
    static const auto& freeText = *new const re2::RE2(R"((?:[ -9;-Z^-~]|\[[ -Z^-~]*\])+)");
    std::string hiSlip;
    std::string port;
    // A number alone is no device: it is the port of a socket without its class, or from an IPv6 host without brackets.
    if (!re2::RE2::FullMatch(device, hiSlipWithPort, &hiSlip, &port))
        return re2::RE2::FullMatch(device, freeText) && device.find_first_not_of("0123456789") != std::string::npos;
    const bool isComplete = completeNumber(port, 1);
    device = port == "4880" ? hiSlip : hiSlip + "," + port;
    return isComplete;
}

bool completeInstrument(Fields& fields)
{
    if (fields.size() == 1)
        fields.emplace_back("inst0");
    return fields.size() == 2 && isHost(fields[0]) && completeDevice(fields[1]);
}

bool completeSocket(Fields& fields)
{
    return fields.size() == 2 && isHost(fields[0]) && completeNumber(fields[1], 1);
}

struct Kind
{
    const char* keyword;
    const char* resourceClass;
    ViUInt16 interfaceType;
    bool (*complete)(Fields& fields);
};

constexpr std::array<Kind, 5> kinds = {{
    {"ASRL", "INSTR", VI_INTF_ASRL, [](Fields& fields) { return fields.empty(); }},
    {"GPIB", "INSTR", VI_INTF_GPIB, completeGpib},
    {"USB", "INSTR", VI_INTF_USB, completeUsb},
    {"TCPIP", "INSTR", VI_INTF_TCPIP, completeInstrument},
    {"TCPIP", "SOCKET", VI_INTF_TCPIP, completeSocket},
}};

} // namespace

std::optional<ParsedResource> parseResourceName(const std::string& name)
{
    static const auto& devicePath = *new const re2::RE2("/[!-~]+");
    static const auto& blankAtEndOfField = *new const re2::RE2(":: | ::| $");
    static const auto& classWord = *new const re2::RE2("(?i)INSTR|SOCKET|RAW|INTFC|SERVANT|MEMACC|BACKPLANE");
    if (name.size() >= VI_FIND_BUFLEN || re2::RE2::PartialMatch(name, blankAtEndOfField))
        return std::nullopt;
    Fields fields = split(name);
    const std::string first = fields.front();
    fields.erase(fields.begin());
    std::string resourceClass = "INSTR";
    if (!fields.empty() && re2::RE2::FullMatch(fields.back(), classWord))
    {
        resourceClass = fields.back();
        fields.pop_back();
    }
    for (const Kind& kind : kinds)
    {
        const std::string keyword = kind.keyword;
        if (!isSame(first.substr(0, keyword.size()), keyword) || !isSame(resourceClass, kind.resourceClass))
            continue;
        const std::string board = first.substr(keyword.size());
        const bool isPath = kind.interfaceType == VI_INTF_ASRL && re2::RE2::FullMatch(board, devicePath);
        const std::optional<ViUInt16> number = isPath || board.empty() ? 0 : toNumber(board);
        if (!number || !kind.complete(fields))
            return std::nullopt;
        std::string expanded = keyword + (isPath ? board : std::to_string(*number));
        for (const std::string& field : fields)
            expanded += "::" + field;
        expanded += std::string("::") + kind.resourceClass;
        if (expanded.size() >= VI_FIND_BUFLEN)
            return std::nullopt;
        return ParsedResource{kind.interfaceType, *number, kind.resourceClass, expanded};
    }
    return std::nullopt;
}

} // namespace standin
