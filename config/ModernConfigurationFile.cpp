// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ModernConfigurationFile.h"

#include "FileReplacement.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <limits>
#include <unordered_set>

namespace KyVisa
{

namespace
{

constexpr std::string_view providerKey = ":Provider=";
constexpr std::size_t lineLength = 64; // bytes; few lines are longer

std::string_view withoutCarriageReturn(std::string_view line)
{
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

char upperCaseLetter(char byte)
{
    return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
}

/// Returns the lines of a text, except blank lines and the version line. Makes lines equal that mean the same: changes
/// aliases in the text to upper case, and ignores the carriage return of a provider.
std::unordered_set<std::string_view> meaningsOf(std::string& text)
{
    std::unordered_set<std::string_view> meanings;
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1)
    {
        end = std::min(text.find('\n', begin), text.size());
        std::string_view line = std::string_view(text).substr(begin, end - begin);
        if (line.find_first_not_of(" \t\r") == std::string_view::npos ||
            withoutCarriageReturn(line) == ModernConfigurationFile::GetVersionString())
            continue;
        const std::size_t separator = line.find('=');
        if (line.substr(0, providerKey.size()) == providerKey)
            line = withoutCarriageReturn(line);
        else if (line.front() != ':' && line.front() != '#' && separator != std::string_view::npos)
            std::transform(&text[begin], &text[begin + separator], &text[begin], upperCaseLetter);
        meanings.insert(line);
    }
    return meanings;
}

/// Returns whether the old file contains a line whose meaning is neither in the new text nor in what the user has seen.
bool needsCopy(const std::string& oldText, const std::string& newText, const std::string& shown)
{
    if (oldText == shown) // only for speed
        return false;
    std::string knownText = newText + shown;
    std::string text = oldText;
    const auto known = meaningsOf(knownText);
    const auto old = meaningsOf(text);
    return std::any_of(old.begin(), old.end(), [&](std::string_view meaning) { return known.count(meaning) == 0; });
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
    std::transform(text.begin(), text.end(), text.begin(), upperCaseLetter);
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
    try
    {
        std::string text(std::filesystem::file_size(m_fileName), '\0');
        std::ifstream file(m_fileName, std::ios::binary);
        file.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(file.gcount()));
        m_aliases.reserve(text.size() / lineLength);
        for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1)
        {
            end = std::min(text.find('\n', begin), text.size());
            readLine(std::string_view(text).substr(begin, end - begin));
        }
    }
    catch (...)
    {
        // A provider that is no 32-bit number ends the reading.
    }
    aliases = m_aliases;
    resources = m_resources;
    provider = m_provider;
}

void ModernConfigurationFile::readLine(std::string_view line)
{
    const std::size_t separator = line.find('=');
    // Anywhere, also in a comment or an alias: see "Kept as it is" in docs/source.md.
    if (const std::size_t key = line.find(providerKey); key != std::string_view::npos)
        m_provider = static_cast<ProviderId>(std::stoi(std::string(line.substr(key + providerKey.size()))));
    else if (line.empty() || line.front() == ':' || line.front() == '#')
        return;
    else if (separator != std::string_view::npos)
        m_aliases.insert_or_assign(upperCase(std::string(line.substr(0, separator))), line.substr(separator + 1));
    else
        m_resources.emplace_back(line);
}

std::string ModernConfigurationFile::text(ProviderId provider, const SerialPropertiesMap& serialProperties,
                                          const std::vector<std::string>& resources, const AliasMap& aliases)
{
    std::string text;
    text.reserve((aliases.size() + resources.size() + 1) * lineLength);
    appendLine(text, GetVersionString());
    appendLine(text, providerKey, unsigned{provider});
    for (const auto& [deviceNo, properties] : serialProperties)
    {
        const std::string prefix = ":SerialProperty[DeviceNo=" + std::to_string(deviceNo) + "].";
        appendLine(text, prefix, "Baudrate=", properties.baudRate);
        appendLine(text, prefix, "DataBits=", unsigned{properties.dataBits});
        appendLine(text, prefix, "StopBits=", unsigned{properties.stopBits});
        appendLine(text, prefix, "Parity=", unsigned{properties.parity});
        appendLine(text, prefix, "FlowControl=", unsigned{properties.flowControl});
    }
    for (const std::string& resource : resources)
        appendLine(text, resource);
    for (const auto& [alias, resource] : aliases)
        appendLine(text, alias, "=", resource);
    return text;
}

void ModernConfigurationFile::save() const
{
    replace(m_fileName, text(m_provider, m_serialProperties, m_resources, m_aliases), "", "");
}

bool ModernConfigurationFile::replace(const std::string& fileName, const std::string& newText, const std::string& shown,
                                      const std::string& copyFolder) noexcept
try
{
    const auto isCopyNeeded = [&](const std::string& oldText) { return needsCopy(oldText, newText, shown); };
    FileReplacement{fileName, copyFolder, isCopyNeeded}.replaceBy(newText);
    return true;
}

catch (...)
{
    return false;
}

} // namespace KyVisa
