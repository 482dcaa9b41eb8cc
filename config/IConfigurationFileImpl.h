// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ConfigurationRecords.h"

#include <vector>

namespace KyVisa
{

/// Reader of one configuration file format. Writing is each format's own business.
class IConfigurationFileImpl
{
public:
    virtual ~IConfigurationFileImpl() = default;

    /// A default record where the board is unknown.
    [[nodiscard]] virtual SGpibProperties getGpibProperties(std::uint16_t deviceNo) const = 0;
    [[nodiscard]] virtual GpibPropertiesMap getGpibProperties() const = 0;

    /// A default record where the port is unknown.
    [[nodiscard]] virtual SSerialProperties getSerialProperties(std::uint16_t deviceNo) const = 0;
    [[nodiscard]] virtual SerialPropertiesMap getSerialProperties() const = 0;

    [[nodiscard]] virtual ProviderId getProvider() const = 0;

    /// Reads the file and replaces the contents of all three arguments.
    virtual void parse(AliasMap& aliases, std::vector<std::string>& resources, ProviderId& provider) = 0;
};

} // namespace KyVisa
