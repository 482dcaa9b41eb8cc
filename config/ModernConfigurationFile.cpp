// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ModernConfigurationFile.h"

#include "FileReplacement.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <fstream>
#include <limits>
#include <numeric>
#include <unordered_set>
#include <utility>

namespace KyVisa
{

namespace
{

constexpr std::string_view providerKey = ":Provider=";
constexpr std::size_t lineLength = 64; // few lines are longer

/// Calls `use` with every line, and with what follows the last line feed, if anything.
template <typename Use>
void forEachLine(std::string_view text, Use use)
{
    while (!text.empty())
    {
        const std::size_t end = std::min(text.find('\n'), text.size());
        use(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::size_t findProvider(std::string_view text, std::size_t from)
{
    // Not find(): it stops at every colon, and resources are full of them.
    const void* found = ::memmem(text.data() + from, text.size() - from, providerKey.data(), providerKey.size());
    return found == nullptr ? text.size() : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

std::string_view withoutCarriageReturn(std::string_view line)
{
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

/// Nothing is lost with a blank line or the version line.
bool saysSomething(std::string_view line)
{
    return line.find_first_not_of(" \t\r") != std::string_view::npos &&
           withoutCarriageReturn(line) != ModernConfigurationFile::GetVersionString();
}

/// Returns equal texts for lines of equal meaning: aliases are equal in any letter case.
std::string meaningOf(std::string_view line)
{
    if (line.substr(0, providerKey.size()) == providerKey)
        return std::string(withoutCarriageReturn(line));
    const std::size_t separator = line.find('=');
    if (line.front() == ':' || line.front() == '#' || separator == std::string_view::npos)
        return std::string(line);
    return ModernConfigurationFile::upperCase(std::string(line.substr(0, separator))).append(line.substr(separator));
}

/// Returns the key of a line that contains '='.
std::string aliasOf(std::string_view line)
{
    return ModernConfigurationFile::upperCase(std::string(line.substr(0, line.find('='))));
}

/// Returns alias lines in the order of the map's buckets, roughly. Lines of the same alias stay in their order.
///
/// In the order of a long file, each line needs another part of the map, and adding it waits for the memory.
std::vector<std::string_view> groupedByBucket(const std::vector<std::string_view>& lines, const AliasMap& map)
{
    constexpr std::size_t groupSize = 4096; // buckets: they and their entries fit into a processor's cache
    std::vector<std::size_t> groups(lines.size());
    std::transform(lines.begin(), lines.end(), groups.begin(),
                   [&](std::string_view line) { return map.bucket(aliasOf(line)) / groupSize; });

    std::vector<std::size_t> places(map.bucket_count() / groupSize + 2); // where the next line of each group goes
    for (const std::size_t group : groups)
        ++places[group + 1];
    std::partial_sum(places.begin(), places.end(), places.begin());
    std::vector<std::string_view> grouped(lines.size());
    for (std::size_t index = 0; index < lines.size(); ++index)
        grouped[places[groups[index]]++] = lines[index];
    return grouped;
}

void append(std::string& text, std::string_view part)
{
    text.append(part);
}

void append(std::string& text, unsigned number)
{
    std::array<char, std::numeric_limits<unsigned>::digits10 + 1> digits = {};
    text.append(digits.data(), std::to_chars(digits.begin(), digits.end(), number).ptr);
}

/// Appends exactly one line: a line feed in its parts becomes a blank.
template <typename... Parts>
void appendLine(std::string& text, const Parts&... parts)
{
    const std::size_t begin = text.size();
    (append(text, parts), ...);
    for (std::size_t at = text.find('\n', begin); at != std::string::npos; at = text.find('\n', at))
        text[at] = ' ';
    text.push_back('\n');
}

} // namespace

ModernConfigurationFile::ModernConfigurationFile(const std::string& fileName) : m_fileName(fileName) {}

const std::string& ModernConfigurationFile::GetVersionString()
{
    static const std::string s_versionString = ":KyVisaConfigurationFileVersion01";
    return s_versionString;
}

std::string ModernConfigurationFile::upperCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char byte) { return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte; });
    return text;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is an interface.
bool ModernConfigurationFile::isParseAble(std::string fileName) noexcept
{
    try
    {
        // The first line of another file may be very long, so read no more than needed.
        std::string begin(GetVersionString().size(), '\0');
        std::ifstream(fileName, std::ios::binary).read(begin.data(), static_cast<std::streamsize>(begin.size()));
        return begin == GetVersionString();
    }
    catch (...)
    {
        return false;
    }
}

SGpibProperties ModernConfigurationFile::getGpibProperties(std::uint16_t deviceNo) const
{
    return propertiesOf(m_gpibProperties, deviceNo);
}

GpibPropertiesMap ModernConfigurationFile::getGpibProperties() const
{
    return m_gpibProperties;
}

SSerialProperties ModernConfigurationFile::getSerialProperties(std::uint16_t deviceNo) const
{
    return propertiesOf(m_serialProperties, deviceNo);
}

SerialPropertiesMap ModernConfigurationFile::getSerialProperties() const
{
    return m_serialProperties;
}

ProviderId ModernConfigurationFile::getProvider() const
{
    return m_provider;
}

void ModernConfigurationFile::parse(AliasMap& aliases, std::vector<std::string>& resources, ProviderId& provider)
{
    m_aliases.clear();
    m_resources.clear();
    m_gpibProperties.clear();
    m_serialProperties.clear();
    m_known.reset();
    try
    {
        std::string text;
        const bool whole = readFile(m_fileName, text);
        std::vector<std::string_view> aliasLines;
        std::vector<std::string> skipped = readLines(text, aliasLines);
        addAliases(aliasLines, skipped);
        if (whole)
            m_known = std::make_shared<const KnownText>(KnownText{std::move(text), std::move(skipped)});
    }
    catch (...)
    {
        // What was read so far counts.
    }
    aliases = m_aliases;
    resources = m_resources;
    provider = m_provider;
}

std::vector<std::string> ModernConfigurationFile::readLines(std::string_view text,
                                                            std::vector<std::string_view>& aliasLines)
{
    std::vector<std::string> skipped;
    std::string_view effective; // the provider line that counts
    std::size_t provider = findProvider(text, 0);
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1)
    {
        end = std::min(text.find('\n', begin), text.size());
        const std::string_view line = text.substr(begin, end - begin);
        // A provider counts anywhere in a line, also in a comment or an alias.
        if (provider >= end)
        {
            readEntry(line, aliasLines, skipped);
            continue;
        }
        if (!effective.empty())
            skipped.emplace_back(effective);
        effective = line;
        try
        {
            m_provider = static_cast<ProviderId>(std::stoi(
                std::string(text.substr(provider + providerKey.size(), end - provider - providerKey.size()))));
        }
        catch (const std::logic_error&)
        {
            // No 32-bit number: reading ends here.
            forEachLine(text.substr(begin), [&](std::string_view unread) { skipped.emplace_back(unread); });
            return skipped;
        }
        provider = findProvider(text, end);
    }
    // Of "7 # mine", only the 7 was read.
    if (withoutCarriageReturn(effective) != std::string(providerKey) + std::to_string(m_provider))
        skipped.emplace_back(effective);
    return skipped;
}

void ModernConfigurationFile::readEntry(std::string_view line, std::vector<std::string_view>& aliasLines,
                                        std::vector<std::string>& skipped)
{
    if (line.empty())
        return;
    if (line.front() == ':' || line.front() == '#')
        skipped.emplace_back(line);
    else if (line.find('=') == std::string_view::npos)
        m_resources.emplace_back(line);
    else
        aliasLines.push_back(line);
}

void ModernConfigurationFile::addAliases(const std::vector<std::string_view>& lines, std::vector<std::string>& skipped)
{
    constexpr std::size_t linesAhead = 8;
    m_aliases.reserve(lines.size());
    const std::vector<std::string_view> grouped = groupedByBucket(lines, m_aliases);
    for (std::size_t index = 0; index < grouped.size(); ++index)
    {
        // The lines of a group lie far apart in the text, so request them before they are needed.
        if (index + linesAhead < grouped.size())
        {
            __builtin_prefetch(&grouped[index + linesAhead].front());
            __builtin_prefetch(&grouped[index + linesAhead].back());
        }
        const std::string_view resource = grouped[index].substr(grouped[index].find('=') + 1);
        const auto [entry, isNew] = m_aliases.try_emplace(aliasOf(grouped[index]), resource);
        if (isNew || entry->second == resource)
            continue;
        skipped.push_back(entry->first + "=" + entry->second);
        entry->second = resource;
    }
}

std::string ModernConfigurationFile::text() const
{
    std::string text;
    text.reserve((m_aliases.size() + m_resources.size() + 1) * lineLength);
    appendLine(text, GetVersionString());
    appendLine(text, providerKey, unsigned{m_provider});
    for (const auto& [deviceNo, properties] : m_serialProperties)
    {
        const std::string prefix = ":SerialProperty[DeviceNo=" + std::to_string(deviceNo) + "].";
        appendLine(text, prefix, "Baudrate=", properties.baudRate);
        appendLine(text, prefix, "DataBits=", unsigned{properties.dataBits});
        appendLine(text, prefix, "StopBits=", unsigned{properties.stopBits});
        appendLine(text, prefix, "Parity=", unsigned{properties.parity});
        appendLine(text, prefix, "FlowControl=", unsigned{properties.flowControl});
    }
    for (const std::string& resource : m_resources)
        appendLine(text, resource);
    for (const auto& [alias, resource] : m_aliases)
        appendLine(text, alias, "=", resource);
    return text;
}

void ModernConfigurationFile::save() const
{
    static_cast<void>(replace());
}

std::shared_ptr<const KnownText> ModernConfigurationFile::replace() const noexcept
try
{
    const auto saved = std::make_shared<const KnownText>(KnownText{text(), {}});
    const std::string& newText = saved->text;
    FileReplacement{m_fileName, m_copyFolder, [&](const std::string& oldText) { return wouldLose(oldText, newText); }}
        .replaceBy(newText);
    return saved;
}

catch (...)
{
    return {};
}

bool ModernConfigurationFile::wouldLose(const std::string& oldText, std::string_view newText) const
{
    std::vector<std::string_view> inDanger;
    const auto add = [&](std::string_view line) {
        if (saysSomething(line))
            inDanger.push_back(line);
    };
    if (m_known && m_known->text == oldText)
        std::for_each(m_known->skippedLines.begin(), m_known->skippedLines.end(), add);
    else
        forEachLine(oldText, add);
    if (inDanger.empty())
        return false;

    std::unordered_set<std::string> written;
    forEachLine(newText, [&](std::string_view line) {
        if (!line.empty())
            written.insert(meaningOf(line));
    });
    return std::any_of(inDanger.begin(), inDanger.end(),
                       [&](std::string_view line) { return written.count(meaningOf(line)) == 0; });
}

} // namespace KyVisa
