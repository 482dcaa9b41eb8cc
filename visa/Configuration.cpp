// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Configuration.h"

#include "ConfigurationFile.h"

namespace configuration
{

namespace
{

/// Asks the store under its mutex, which the look-ups do not take themselves.
template <typename Question>
auto ask(Question question)
{
    const std::lock_guard lock(KyVisa::ConfigurationFile::getMutex());
    return question(KyVisa::ConfigurationFile::getInstanceUnsafe());
}

} // namespace

std::string withoutAlias(std::string name)
{
    ask([&](const auto& store) { return store.replaceAlias(name); });
    return name;
}

std::string aliasOf(const std::string& resource)
{
    return ask([&](const auto& store) { return store.lookupAlias(resource); });
}

KyVisa::ProviderId provider()
{
    return ask([](const auto& store) { return store.m_provider; });
}

} // namespace configuration
