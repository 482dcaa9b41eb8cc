// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

#include <string>

/// The library's view of visa.conf. Each call reads a new or changed file first. Any thread may call.
namespace standin
{

struct ResolvedName
{
    std::string resource; ///< what the alias stands for, or the name itself
    std::string alias;    ///< in capitals; empty if there is none
};

/// Looks an alias or a resource string up, in any letter case.
[[nodiscard]] ResolvedName resolve(const std::string& name);

/// The alias of a resource string, compared in any letter case. Empty if there is none.
[[nodiscard]] std::string aliasOf(const std::string& resource);

/// The provider ID of visa.conf.
[[nodiscard]] KyVisa::ProviderId provider();

} // namespace standin
