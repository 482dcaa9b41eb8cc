// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "IConfigurationFileImpl.h"

namespace KyVisa
{

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

    /// Replaces the file by the members, through a temporary file beside it that is renamed over it. Symbolic
    /// links are followed, and mode, access control list and owner of an existing file are kept. An existing file
    /// that was not read, or cannot be read to its end, is first copied to visa.conf.~1~ (or ~2~...).
    /// When anything fails, the old file stays whole and nothing is reported.
    void save() const;

    /// The first line of every file of this format.
    [[nodiscard]] static const std::string& GetVersionString();

    // The service fills these before it saves.
    const std::string m_fileName;
    GpibPropertiesMap m_gpibProperties; ///< always empty: the format has no GPIB lines
    SerialPropertiesMap m_serialProperties;
    AliasMap m_aliases;
    std::vector<std::string> m_resources;
    ProviderId m_provider = defaultProvider;
    bool m_replacesUnread = false; ///< the members were not read from the file that save() replaces

private:
    /// save(), but throws when anything fails.
    void replaceFile() const;
    /// Whether the reading reached the end of the file.
    bool readLines();
    void readLine(const std::string& line);
    [[nodiscard]] static bool isReadWhole(const std::string& fileName);
    [[nodiscard]] std::string text() const;
};

} // namespace KyVisa
