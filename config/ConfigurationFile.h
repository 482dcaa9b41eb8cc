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

/// The contents of visa.conf, one object per process. Finds the file, loads it again after a change, looks up names,
/// and saves.
///
/// getInstance(), save(), setProvider() and rememberLoaded() take the store's mutex. Everything else takes no lock and
/// is for one thread at a time, also the data members. They are public because clients read and fill them.
class ConfigurationFile
{
public:
    static constexpr std::size_t BUFLEN = 256; ///< unused: see "Kept as it is" in docs/source.md

    /// Returns the store. Loads the file again when its modification time differs from the last load's. Throws
    /// std::system_error when the lock fails.
    [[nodiscard]] static ConfigurationFile& getInstance();
    /// As getInstance(), for a caller that holds the store's mutex.
    [[nodiscard]] static ConfigurationFile& getInstanceUnsafe();
    /// The store's mutex. If other threads use the store, lock it from getInstanceUnsafe() to the last use of the
    /// result.
    [[nodiscard]] static std::mutex& getMutex();

    /// Returns the first regular file of $KYVISACONFFILE, ./visa.conf and $HOME/.kyvane-yollet/visa.conf, or an empty
    /// string. With `create`, makes the folder of the last one and returns its path even if the file does not exist.
    [[nodiscard]] static std::string searchConfigFile(bool create);

    /// Returns the path that save() writes to, or an empty string if there is no file and HOME is not set. The file
    /// need not exist. Makes no folder.
    [[nodiscard]] std::string fileToSave() const;

    /// Loads the file; first searches for it if none is known. A missing file, or one of another format, changes no
    /// entry.
    void load();

    /// Writes everything to the file, and creates it if there is none. Reports no failure. The next getInstance() loads
    /// what was written, unless the last load was within the same second. Keeps a copy of the old file if it has lines
    /// that are neither saved nor known to the user, see ModernConfigurationFile::replace().
    void save();

    /// Call this after showing the loaded entries. Entries that were never shown are kept in a copy when save() drops
    /// them.
    void rememberLoaded();

    /// Returns the alias of a resource string, in any letter case, or an empty string.
    [[nodiscard]] std::string lookupAlias(const std::string& resource) const;

    /// Replaces an alias, in any letter case, by its resource string. Returns false and changes nothing if it is
    /// unknown. Finds upper-case keys only: after setData() with other keys, save and load first.
    bool replaceAlias(std::string& name) const;

    /// Returns entry `index`: first the resources without alias, then the aliases in the map's order. Past the end,
    /// both texts are empty. In ascending order, each call takes constant time. After a direct change of
    /// m_aliases, begin again at index 0.
    [[nodiscard]] std::string getResource(std::size_t index, std::string& alias) const;

    /// Returns every resource string once, sorted by bytes.
    [[nodiscard]] std::vector<std::string> getAllResources() const;

    /// Replaces all resources and aliases. Among pairs with the same alias, the last one counts.
    void setData(const std::vector<ResourceAliasPair>& pairs);

    void setProvider(ProviderId id);

    /// Before the first successful load, returns false and leaves `out` unchanged. Later `out` becomes the default
    /// record, because the format reads no properties.
    bool getGpibProperties(std::uint16_t deviceNo, SGpibProperties& out) const;
    /// As getGpibProperties(). Does not use m_serialProperties.
    bool getSerialProperties(std::uint16_t deviceNo, SSerialProperties& out) const;

    std::string m_fileName; ///< empty while no file is known
    ProviderId m_provider = defaultProvider;
    AliasMap m_aliases;
    std::vector<std::string> m_resources;           ///< without alias, in the file's order
    SerialPropertiesMap m_serialProperties;         ///< what the next save() writes; a load clears it
    std::unique_ptr<IConfigurationFileImpl> m_impl; ///< null before the first successful load
    std::time_t m_lastModified = 0;                 ///< whole seconds; 0 before the first successful load

private:
    ConfigurationFile();

    /// The alias that getResource() returned last, and its position. No iterator, because a change of the map can make
    /// it invalid.
    struct Cursor
    {
        std::size_t position;
        std::size_t mapSize;
        std::string alias;
    };

    /// `position` must be less than the number of aliases.
    [[nodiscard]] AliasMap::const_iterator aliasAt(std::size_t position) const;

    mutable std::optional<Cursor> m_cursor;
    std::string m_shown; ///< the entries that were last shown or saved, as the text of a file
};

} // namespace KyVisa
