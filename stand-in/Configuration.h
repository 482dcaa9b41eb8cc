// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

#include <string>

/// What visa.conf tells the library. Each call notices a file that has changed or has only now been made; all are safe
/// to make from several threads.
namespace standin
{

struct ResolvedName
{
    std::string resource; ///< what an alias, in any letter case, stands for; a name that is no alias as it is
    std::string alias;    ///< the alias that was given, or that a given resource string has; empty where it has none
};

[[nodiscard]] ResolvedName resolve(const std::string& name);

/// The alias of a resource string, in any letter case, or an empty text.
[[nodiscard]] std::string aliasOf(const std::string& resource);

[[nodiscard]] KyVisa::ProviderId provider();

} // namespace standin
