// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ModernConfigurationFile.h"

#include <ctime>
#include <memory>
#include <mutex>
#include <optional>

namespace KyVisa
{

/// The process-wide image of visa.conf: finds the file, loads it, notices when it changed, answers look-ups and
/// writes it back.
///
/// getInstance(), save(), setProvider() and rememberLoaded() take the store's mutex. Everything else, the public
/// members included, takes no lock and is for one thread at a time.
class ConfigurationFile
{
public:
    static constexpr std::size_t BUFLEN = 256;

    /// The store, loaded anew when the file's modification time differs from the last load's. Throws
    /// std::system_error when the lock fails.
    [[nodiscard]] static ConfigurationFile& getInstance();
    /// The same for a caller that holds the store's mutex.
    [[nodiscard]] static ConfigurationFile& getInstanceUnsafe();
    [[nodiscard]] static std::mutex& getMutex();

    /// Path of the configuration file, or an empty string: $KYVISACONFFILE, ./visa.conf or
    /// $HOME/.kyvane-yollet/visa.conf, the first that is a regular file. With `create` the last is returned also
    /// where it does not exist, its directory having been made.
    [[nodiscard]] static std::string searchConfigFile(bool create);

    /// The file that save() writes, which need not exist yet. Makes no directory. Empty where save() writes nothing.
    [[nodiscard]] std::string fileToSave() const;

    /// Loads the file. One that is missing or not in this program's format leaves everything as it is.
    void load();

    /// Writes everything to the file, which is created where there is none. Reports nothing; the memory is
    /// brought in line with the file at the next getInstance(). Lines that nobody has seen are kept in a copy, see
    /// ModernConfigurationFile::save(): those that reading skipped where the file is as it was seen last, none where
    /// it is as save() left it, and otherwise all.
    void save();

    /// Says that the user now sees what was loaded last: the next save() may drop its entries. The construction says
    /// so as well. A later load() does not, because it can happen just before setData() replaces what it has read.
    void rememberLoaded();

    /// The alias of a resource string, in any letter case, or an empty string.
    [[nodiscard]] std::string lookupAlias(const std::string& resource) const;

    /// Replaces an alias, in any letter case, by its resource string. Finds upper-case keys only: an alias given
    /// to setData() in another case is found after it was saved and loaded.
    bool replaceAlias(std::string& name) const;

    /// Entry `index` of the resources without alias followed by the aliases in the map's order. Past the end
    /// both are empty. Asking for one entry after the other costs constant time for each. Whoever changes m_aliases
    /// directly begins again at the first index.
    [[nodiscard]] std::string getResource(std::size_t index, std::string& alias) const;

    /// Every resource string once, sorted by bytes.
    [[nodiscard]] std::vector<std::string> getAllResources() const;

    /// Replaces all resources and aliases. Of several pairs with the same alias the last counts.
    void setData(const std::vector<ResourceAliasPair>& pairs);

    void setProvider(ProviderId id);

    /// False, and `out` untouched, before the first successful load. Afterwards what the file format delivers,
    /// and that is always the default record: it reads no properties.
    bool getGpibProperties(std::uint16_t deviceNo, SGpibProperties& out) const;
    /// As getGpibProperties(); m_serialProperties is not looked at.
    bool getSerialProperties(std::uint16_t deviceNo, SSerialProperties& out) const;

    std::string m_fileName; ///< empty while no file is known
    ProviderId m_provider = defaultProvider;
    AliasMap m_aliases;
    std::vector<std::string> m_resources; ///< without alias, in the file's order
    SerialPropertiesMap m_serialProperties;
    std::unique_ptr<IConfigurationFileImpl> m_impl; ///< null before the first successful load
    std::time_t m_lastModified = 0;                 ///< whole seconds; 0 before the first successful load

private:
    ConfigurationFile();

    /// The alias that getResource() handed out last, and its place. It is kept by name and looked up again, so
    /// that no change of the map can leave a dangling iterator here.
    struct Cursor
    {
        std::size_t position;
        std::size_t mapSize;
        std::string alias;
    };

    /// rememberLoaded() for a caller that holds the mutex.
    void noteLoaded();
    /// `position` must be below the number of aliases.
    [[nodiscard]] AliasMap::const_iterator aliasAt(std::size_t position) const;

    mutable std::optional<Cursor> m_cursor;
    std::optional<KnownText> m_loaded; ///< what load() has read last
    std::optional<KnownText> m_known;  ///< what the user has seen, or save() has written, last
};

} // namespace KyVisa
