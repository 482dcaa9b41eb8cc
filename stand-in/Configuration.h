// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

#include <string>

/// The library's view of visa.conf. Each call reads a new or changed file first. Any thread may call.
namespace standin
{

/// What an alias in any letter case stands for, or the name itself.
[[nodiscard]] std::string resourceOf(const std::string& name);

/// The alias itself in capitals, or the first in order of those that stand for the same resource as a name, however
/// each of them spells it. Empty if there is none.
[[nodiscard]] std::string aliasOf(const std::string& name);

/// The provider ID of visa.conf.
[[nodiscard]] KyVisa::ProviderId provider();

} // namespace standin
