// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "IConfigurationFileImpl.h"

#include <memory>
#include <string_view>

namespace KyVisa
{

/// The text of a file, and those of its lines that reading skipped.
struct KnownText
{
    std::string text;
    std::vector<std::string> skippedLines;
};

/// The line-oriented text format of visa.conf, bound to one path.
///
/// Reading and writing differ: serial-port lines are written for the VISA library, and reading skips them. The format
/// has no lines for GPIB boards.
class ModernConfigurationFile : public IConfigurationFileImpl
{
public:
    /// Does not access the file.
    explicit ModernConfigurationFile(const std::string& fileName);

    /// Returns whether the file opens for reading and its first line begins with the version line.
    [[nodiscard]] static bool isParseAble(std::string fileName) noexcept;

    /// Returns a text as alias keys are stored: ASCII letters in upper case, in every locale.
    [[nodiscard]] static std::string upperCase(std::string text);

    [[nodiscard]] SGpibProperties getGpibProperties(std::uint16_t deviceNo) const override;
    [[nodiscard]] GpibPropertiesMap getGpibProperties() const override;
    [[nodiscard]] SSerialProperties getSerialProperties(std::uint16_t deviceNo) const override;
    [[nodiscard]] SerialPropertiesMap getSerialProperties() const override;
    [[nodiscard]] ProviderId getProvider() const override;

    /// Replaces all three arguments by what the file contains. A provider line whose value is not a 32-bit number ends
    /// the reading; the lines before it count. A file that does not open counts as empty.
    void parse(AliasMap& aliases, std::vector<std::string>& resources, ProviderId& provider) override;

    /// Replaces the file, as FileReplacement does it. Reports no failure. A line feed within an alias or a resource is
    /// written as a blank.
    ///
    /// Keeps the old file as visa.conf.~1~ (or ~2~...) if a line in danger is not written again. In the file that
    /// m_known describes, the skipped lines are in danger; in any other file, all lines are.
    void save() const;

    /// As save(). Returns the text of the saved file, or null when it was not saved.
    [[nodiscard]] std::shared_ptr<const KnownText> replace() const noexcept;

    /// The first line of every file of this format.
    [[nodiscard]] static const std::string& GetVersionString();

    // Public, because ConfigurationFile fills them before it saves.
    const std::string m_fileName;
    GpibPropertiesMap m_gpibProperties; ///< always empty: the format has no GPIB lines
    SerialPropertiesMap m_serialProperties;
    AliasMap m_aliases;
    std::vector<std::string> m_resources;
    ProviderId m_provider = defaultProvider;
    std::shared_ptr<const KnownText> m_known; ///< what parse() has read to the end; null: nothing
    std::string m_copyFolder;                 ///< where a copy goes that cannot lie beside the file, or empty

private:
    /// Returns the skipped lines.
    std::vector<std::string> readLines(std::string_view text, std::vector<std::string_view>& aliasLines);
    void readEntry(std::string_view line, std::vector<std::string_view>& aliasLines, std::vector<std::string>& skipped);
    /// Adds the lines of replaced aliases to `skipped`.
    void addAliases(const std::vector<std::string_view>& lines, std::vector<std::string>& skipped);
    [[nodiscard]] bool wouldLose(const std::string& oldText, std::string_view newText) const;
    [[nodiscard]] std::string text() const;
};

} // namespace KyVisa
