// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ConfigurationRecords.h"

#include <string>

/// What visa.conf tells the library. Each call notices a changed file; all are safe to make from several threads.
namespace configuration
{

/// The resource string that an alias, in any letter case, stands for; a name that is no alias as it is.
[[nodiscard]] std::string withoutAlias(std::string name);

/// The alias of a resource string, in any letter case, or an empty text.
[[nodiscard]] std::string aliasOf(const std::string& resource);

[[nodiscard]] KyVisa::ProviderId provider();

} // namespace configuration
