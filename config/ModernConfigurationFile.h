// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "IConfigurationFileImpl.h"

#include <optional>
#include <string_view>

namespace KyVisa
{

/// A text that is recognised again, without being kept, and those of its lines that its reader did not take over.
struct KnownText
{
    std::size_t size = 0;
    std::size_t hash = 0;
    std::vector<std::string> skippedLines;

    explicit KnownText(std::string_view text);

    [[nodiscard]] bool isSameText(const KnownText& other) const { return size == other.size && hash == other.hash; }
};

/// The line-oriented text format of visa.conf, bound to one path.
///
/// Reading and writing are not symmetric: serial-port lines are written for the VISA library and skipped on
/// reading, and the format has no line for GPIB boards.
class ModernConfigurationFile : public IConfigurationFileImpl
{
public:
    /// Touches no file.
    explicit ModernConfigurationFile(const std::string& fileName);

    /// Whether the file opens for reading and its first line begins with the version line.
    [[nodiscard]] static bool isParseAble(std::string fileName) noexcept;

    /// Upper case as alias keys have it: ASCII letters only, byte by byte, whatever the locale.
    [[nodiscard]] static std::string upperCase(std::string text);

    [[nodiscard]] SGpibProperties getGpibProperties(std::uint16_t deviceNo) const override;
    [[nodiscard]] GpibPropertiesMap getGpibProperties() const override;
    [[nodiscard]] SSerialProperties getSerialProperties(std::uint16_t deviceNo) const override;
    [[nodiscard]] SerialPropertiesMap getSerialProperties() const override;
    [[nodiscard]] ProviderId getProvider() const override;

    /// Reads what the file holds, up to a provider line whose value is no 32-bit number: that line ends the
    /// reading, and what stands before it is kept. A file that does not open counts as empty.
    void parse(AliasMap& aliases, std::vector<std::string>& resources, ProviderId& provider) override;

    /// Replaces the file by the members, as FileReplacement does it. When anything fails, the old file stays whole
    /// and nothing is reported. A line feed within an alias or a resource is written as a blank.
    ///
    /// A copy of the old file, visa.conf.~1~ (or ~2~...), is kept where one of its lines would be lost without having
    /// been seen: of the file that m_known describes, those that its reader skipped; of any other file, all.
    void save() const;

    /// As save(). Returns what is known of the saved file, or nothing when it was not saved.
    [[nodiscard]] std::optional<KnownText> replace() const noexcept;

    /// The first line of every file of this format.
    [[nodiscard]] static const std::string& GetVersionString();

    // The service fills these before it saves.
    const std::string m_fileName;
    GpibPropertiesMap m_gpibProperties; ///< always empty: the format has no GPIB lines
    SerialPropertiesMap m_serialProperties;
    AliasMap m_aliases;
    std::vector<std::string> m_resources;
    ProviderId m_provider = defaultProvider;
    std::optional<KnownText> m_known; ///< the file that the members were read from; parse() sets it
    std::string m_copyFolder;         ///< where a copy goes that cannot lie beside the file, or empty

private:
    /// Returns the lines that were skipped.
    std::vector<std::string> readLines(std::string_view text);
    void readEntry(std::string_view line, std::vector<std::string>& skipped);
    [[nodiscard]] bool wouldLose(const std::string& oldText, std::string_view newText) const;
    [[nodiscard]] std::string text() const;
};

} // namespace KyVisa
