// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ConfigurationRecords.h"

#include <vector>

namespace KyVisa
{

/// Reads one configuration file format.
class IConfigurationFileImpl
{
public:
    virtual ~IConfigurationFileImpl() = default;

    /// Returns the default record if the board is unknown.
    [[nodiscard]] virtual SGpibProperties getGpibProperties(std::uint16_t deviceNo) const = 0;
    [[nodiscard]] virtual GpibPropertiesMap getGpibProperties() const = 0;

    /// Returns the default record if the port is unknown.
    [[nodiscard]] virtual SSerialProperties getSerialProperties(std::uint16_t deviceNo) const = 0;
    [[nodiscard]] virtual SerialPropertiesMap getSerialProperties() const = 0;

    [[nodiscard]] virtual ProviderId getProvider() const = 0;

    /// Reads the file and replaces the contents of all three arguments.
    virtual void parse(AliasMap& aliases, std::vector<std::string>& resources, ProviderId& provider) = 0;
};

} // namespace KyVisa
