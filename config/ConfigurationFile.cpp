// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ConfigurationFile.h"

#include "ModernConfigurationFile.h"

#include <array>
#include <cstdlib>
#include <iterator>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

namespace KyVisa
{

namespace
{

constexpr std::size_t workingDirectoryLength = 1024; // see "Kept as it is" in docs/source.md
constexpr mode_t ownerOnly = 0700;

bool isRegularFile(const std::string& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// Returns $HOME/.kyvane-yollet/visa.conf, or an empty string if HOME is not set.
std::string perUserFile()
{
    const char* home = std::getenv("HOME");
    return home == nullptr ? std::string() : std::string(home) + "/.kyvane-yollet/visa.conf";
}

std::time_t modificationTime(const std::string& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mtime : 0;
}

/// Makes every folder of a path. Returns whether the last one exists afterwards.
bool createDirectoriesFor(const std::string& path)
{
    constexpr const char* separators = "/\\"; // '\\' too: see "Kept as it is" in docs/source.md
    std::size_t last = std::string::npos;
    for (std::size_t at = path.find_first_of(separators, 1); at != std::string::npos;
         at = path.find_first_of(separators, at + 1))
    {
        ::mkdir(path.substr(0, at).c_str(), ownerOnly);
        last = at;
    }
    return last == std::string::npos || ::access(path.substr(0, last).c_str(), F_OK) == 0;
}

} // namespace

ConfigurationFile::ConfigurationFile() : m_fileName(searchConfigFile(false))
{
    load();
}

ConfigurationFile& ConfigurationFile::getInstance()
{
    const std::lock_guard lock(getMutex());
    return getInstanceUnsafe();
}

ConfigurationFile& ConfigurationFile::getInstanceUnsafe()
{
    static ConfigurationFile s_ConfigurationFile;
    if (modificationTime(s_ConfigurationFile.m_fileName) != s_ConfigurationFile.m_lastModified)
        s_ConfigurationFile.load();
    return s_ConfigurationFile;
}

std::mutex& ConfigurationFile::getMutex()
{
    static std::mutex myMutex;
    return myMutex;
}

std::string ConfigurationFile::searchConfigFile(bool create)
{
    if (const char* named = std::getenv("KYVISACONFFILE"); named != nullptr && isRegularFile(named))
        return named;

    std::array<char, workingDirectoryLength> directory = {};
    if (::getcwd(directory.data(), directory.size()) != nullptr)
    {
        const std::string local = std::string(directory.data()) + "/visa.conf";
        if (isRegularFile(local))
            return local;
    }

    const std::string own = perUserFile();
    if (!own.empty() && (isRegularFile(own) || (create && createDirectoriesFor(own))))
        return own;
    return {};
}

std::string ConfigurationFile::fileToSave() const
{
    if (!m_fileName.empty())
        return m_fileName;
    const std::string found = searchConfigFile(false);
    return found.empty() ? perUserFile() : found;
}

void ConfigurationFile::load()
{
    if (m_fileName.empty())
        m_fileName = searchConfigFile(false);
    // Leave m_lastModified unchanged, so that the next getInstance() tries this file again.
    if (!isRegularFile(m_fileName) || !ModernConfigurationFile::isParseAble(m_fileName))
        return;

    m_cursor.reset();
    m_impl = std::make_unique<ModernConfigurationFile>(m_fileName);
    m_impl->parse(m_aliases, m_resources, m_provider);
    m_serialProperties = m_impl->getSerialProperties();
    m_provider = m_impl->getProvider();
    m_lastModified = modificationTime(m_fileName);
}

void ConfigurationFile::save()
{
    const std::lock_guard lock(getMutex());
    if (m_fileName.empty())
        m_fileName = searchConfigFile(true);
    if (m_fileName.empty())
        return;

    // Somebody may have removed the folder since the search.
    const std::string own = perUserFile();
    if (m_fileName == own)
        createDirectoriesFor(own);

    // Use no ModernConfigurationFile here: copying many aliases into it takes longer than the save.
    std::string text = ModernConfigurationFile::text(m_provider, m_serialProperties, m_resources, m_aliases);
    if (ModernConfigurationFile::replace(m_fileName, text, m_shown, own.substr(0, own.rfind('/'))))
        m_shown = std::move(text);
}

void ConfigurationFile::rememberLoaded()
{
    const std::lock_guard lock(getMutex());
    m_shown = ModernConfigurationFile::text(m_provider, m_serialProperties, m_resources, m_aliases);
}

std::string ConfigurationFile::lookupAlias(const std::string& resource) const
{
    const std::string wanted = ModernConfigurationFile::upperCase(resource);
    for (const auto& [alias, candidate] : m_aliases)
    {
        if (ModernConfigurationFile::upperCase(candidate) == wanted)
            return alias;
    }
    return {};
}

bool ConfigurationFile::replaceAlias(std::string& name) const
{
    const auto entry = m_aliases.find(ModernConfigurationFile::upperCase(name));
    if (entry == m_aliases.end())
        return false;
    name = entry->second;
    return true;
}

std::string ConfigurationFile::getResource(std::size_t index, std::string& alias) const
{
    alias.clear();
    if (index < m_resources.size())
        return m_resources[index];
    const std::size_t position = index - m_resources.size();
    if (position >= m_aliases.size())
        return {};

    const auto entry = aliasAt(position);
    m_cursor = Cursor{position, m_aliases.size(), entry->first};
    alias = entry->first;
    return entry->second;
}

AliasMap::const_iterator ConfigurationFile::aliasAt(std::size_t position) const
{
    if (m_cursor && m_cursor->position + 1 == position && m_cursor->mapSize == m_aliases.size())
    {
        const auto previous = m_aliases.find(m_cursor->alias);
        if (previous != m_aliases.end() && std::next(previous) != m_aliases.end())
            return std::next(previous);
    }
    return std::next(m_aliases.begin(), static_cast<AliasMap::difference_type>(position));
}

std::vector<std::string> ConfigurationFile::getAllResources() const
{
    std::set<std::string> resources(m_resources.begin(), m_resources.end());
    for (const auto& entry : m_aliases)
        resources.insert(entry.second);
    return {resources.begin(), resources.end()};
}

void ConfigurationFile::setData(const std::vector<ResourceAliasPair>& pairs)
{
    m_cursor.reset();
    m_aliases.clear();
    m_resources.clear();
    for (const auto& [resource, alias] : pairs)
    {
        if (alias.empty())
            m_resources.push_back(resource);
        else
            m_aliases[alias] = resource;
    }
}

void ConfigurationFile::setProvider(ProviderId id)
{
    const std::lock_guard lock(getMutex());
    m_provider = id;
}

bool ConfigurationFile::getGpibProperties(std::uint16_t deviceNo, SGpibProperties& out) const
{
    if (!m_impl)
        return false;
    out = m_impl->getGpibProperties(deviceNo);
    return true;
}

bool ConfigurationFile::getSerialProperties(std::uint16_t deviceNo, SSerialProperties& out) const
{
    if (!m_impl)
        return false;
    out = m_impl->getSerialProperties(deviceNo);
    return true;
}

} // namespace KyVisa
