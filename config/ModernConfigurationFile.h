// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "IConfigurationFileImpl.h"

#include <string_view>

namespace KyVisa
{

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

    /// Returns a text in the form of alias keys: ASCII letters become upper case, in every locale.
    [[nodiscard]] static std::string upperCase(std::string text);

    [[nodiscard]] SGpibProperties getGpibProperties(std::uint16_t deviceNo) const override;
    [[nodiscard]] GpibPropertiesMap getGpibProperties() const override;
    [[nodiscard]] SSerialProperties getSerialProperties(std::uint16_t deviceNo) const override;
    [[nodiscard]] SerialPropertiesMap getSerialProperties() const override;
    [[nodiscard]] ProviderId getProvider() const override;

    /// Replaces all three arguments by what the file contains. A provider line whose value is not a 32-bit number ends
    /// the reading; the lines before it count. A file that does not open counts as empty.
    void parse(AliasMap& aliases, std::vector<std::string>& resources, ProviderId& provider) override;

    /// Writes the members to the file by replace(), as if the user had seen no lines.
    void save() const;

    /// Returns the text of a file with these entries. A line feed within an alias or a resource is written as a blank.
    [[nodiscard]] static std::string text(ProviderId provider, const SerialPropertiesMap& serialProperties,
                                          const std::vector<std::string>& resources, const AliasMap& aliases);

    /// Replaces a file by FileReplacement. Keeps the old one as visa.conf.~1~ (or ~2~...) if the meaning of one of its
    /// lines is neither in the new text nor in `shown`, the lines that the user has seen. Returns whether it was saved.
    static bool replace(const std::string& fileName, const std::string& newText, const std::string& shown,
                        const std::string& copyFolder) noexcept;

    /// The first line of every file of this format.
    [[nodiscard]] static const std::string& GetVersionString();

    // Public: see "Kept as it is" in docs/source.md.
    const std::string m_fileName;
    GpibPropertiesMap m_gpibProperties; ///< always empty: the format has no GPIB lines
    SerialPropertiesMap m_serialProperties;
    AliasMap m_aliases;
    std::vector<std::string> m_resources;
    ProviderId m_provider = defaultProvider;

private:
    void readLine(std::string_view line);
};

} // namespace KyVisa
