// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

#include <string>

/// What the library reads from visa.conf. Each call loads a new or changed file first. Any thread may call.
namespace standin
{

/// Returns the resource string of an alias, in any letter case, or the name itself.
///
/// Stores the alias, if there is a place for it: the name itself in upper case if it is one, or else the first alias,
/// in alphabetical order, of the same resource in any spelling. Empty if there is none.
[[nodiscard]] std::string resourceOf(const std::string& name, std::string* alias = nullptr);

/// Returns the provider ID of visa.conf.
[[nodiscard]] KyVisa::ProviderId provider();

} // namespace standin
