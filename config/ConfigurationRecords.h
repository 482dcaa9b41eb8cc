// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>

namespace KyVisa
{

/// VISA manufacturer ID that the library reports through VI_ATTR_RSRC_MANF_ID.
using ProviderId = std::uint16_t;

constexpr ProviderId defaultProvider = 3996;

/// Alias to resource string. A save writes the aliases in the map's order, which is unspecified.
using AliasMap = std::unordered_map<std::string, std::string>;

/// (resource string, alias). An empty alias marks a resource that has none.
using ResourceAliasPair = std::pair<std::string, std::string>;

/// Properties of one GPIB board. The key in GpibPropertiesMap is the board number.
struct SGpibProperties
{
    std::uint16_t primaryAddress = 0;
    std::uint16_t secondaryAddress = 0xFFFF; ///< 0xFFFF: no secondary address
    std::uint16_t systemController = 1;      ///< 1: the board is the system controller, 0: it is not
};

/// Properties of one serial port. The key in SerialPropertiesMap is the ASRL number.
/// The last three are codes of the properties dialog, which the store does not check.
struct SSerialProperties
{
    std::uint32_t baudRate = 9600; ///< bits per second
    std::uint8_t dataBits = 8;
    std::uint8_t stopBits = 0;
    std::uint8_t parity = 0;
    std::uint8_t flowControl = 0;
};

using GpibPropertiesMap = std::map<std::uint16_t, SGpibProperties>;
using SerialPropertiesMap = std::map<std::uint16_t, SSerialProperties>;

[[nodiscard]] inline bool operator==(const SGpibProperties& left, const SGpibProperties& right)
{
    return left.primaryAddress == right.primaryAddress && left.secondaryAddress == right.secondaryAddress &&
           left.systemController == right.systemController;
}

[[nodiscard]] inline bool operator==(const SSerialProperties& left, const SSerialProperties& right)
{
    return left.baudRate == right.baudRate && left.dataBits == right.dataBits && left.stopBits == right.stopBits &&
           left.parity == right.parity && left.flowControl == right.flowControl;
}

// They equal std::map's own operators, and stay because clients may name them.
[[nodiscard]] inline bool operator==(const GpibPropertiesMap& left, const GpibPropertiesMap& right)
{
    return std::operator==(left, right);
}

[[nodiscard]] inline bool operator==(const SerialPropertiesMap& left, const SerialPropertiesMap& right)
{
    return std::operator==(left, right);
}

/// Returns the record of a device number, or the default one if the map has none.
template <typename Properties>
[[nodiscard]] Properties propertiesOf(const std::map<std::uint16_t, Properties>& map, std::uint16_t deviceNo)
{
    const auto entry = map.find(deviceNo);
    return entry == map.end() ? Properties{} : entry->second;
}

} // namespace KyVisa
