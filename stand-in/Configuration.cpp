// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Configuration.h"

#include "ResourceName.h"
#include "config/ConfigurationFile.h"
#include "config/ModernConfigurationFile.h"

#include <re2/re2.h>

namespace standin
{

namespace
{

/// Runs a look-up under the store's mutex, because the store's own look-ups do not lock it.
template <typename Question>
auto ask(Question question)
{
    const std::lock_guard lock(KyVisa::ConfigurationFile::getMutex());
    KyVisa::ConfigurationFile& store = KyVisa::ConfigurationFile::getInstanceUnsafe();
    // While the store knows no file, getInstanceUnsafe() does not search for one.
    if (store.m_fileName.empty())
        store.load();
    return question(store);
}

/// Returns the same text for all names of one resource.
std::string comparable(const std::string& name)
{
    static const auto& usbInterface0 = *new const re2::RE2("^(USB[0-9]+::[^:]+::[^:]+::[^:]+)::0::INSTR$");
    const std::optional<ParsedResource> parsed = parseResourceName(name);
    std::string text = parsed ? parsed->expandedName : name;
    // A search lists the default interface only if there are several.
    re2::RE2::Replace(&text, usbInterface0, "\\1::INSTR");
    return KyVisa::ModernConfigurationFile::upperCase(text);
}

std::string aliasOf(const std::string& name, const KyVisa::ConfigurationFile& store)
{
    std::string alias = KyVisa::ModernConfigurationFile::upperCase(name);
    if (store.m_aliases.count(alias) != 0)
        return alias;
    alias.clear();
    const std::string wanted = comparable(name);
    for (const auto& [candidate, resource] : store.m_aliases)
    {
        if ((alias.empty() || candidate < alias) && comparable(resource) == wanted)
            alias = candidate;
    }
    return alias;
}

} // namespace

std::string resourceOf(const std::string& name, std::string* alias)
{
    return ask([&](const auto& store) {
        if (alias != nullptr)
            *alias = aliasOf(name, store);
        std::string resource = name;
        store.replaceAlias(resource);
        return resource;
    });
}

KyVisa::ProviderId provider()
{
    return ask([](const auto& store) { return store.m_provider; });
}

} // namespace standin
