// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Configuration.h"

#include "config/ConfigurationFile.h"
#include "config/ModernConfigurationFile.h"

#include <utility>

namespace standin
{

namespace
{

/// Runs a look-up under the store's mutex, which look-ups do not lock.
template <typename Question>
auto ask(Question question)
{
    const std::lock_guard lock(KyVisa::ConfigurationFile::getMutex());
    KyVisa::ConfigurationFile& store = KyVisa::ConfigurationFile::getInstanceUnsafe();
    // The store does not notice a first file by itself.
    if (store.m_fileName.empty())
        store.load();
    return question(store);
}

} // namespace

ResolvedName resolve(const std::string& name)
{
    return ask([&](const KyVisa::ConfigurationFile& store) {
        std::string resource = name;
        const bool isAlias = store.replaceAlias(resource);
        std::string alias = isAlias ? KyVisa::ModernConfigurationFile::upperCase(name) : store.lookupAlias(resource);
        return ResolvedName{std::move(resource), std::move(alias)};
    });
}

std::string aliasOf(const std::string& resource)
{
    return ask([&](const auto& store) { return store.lookupAlias(resource); });
}

KyVisa::ProviderId provider()
{
    return ask([](const auto& store) { return store.m_provider; });
}

} // namespace standin
