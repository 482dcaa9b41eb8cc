// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace standin
{

/// What a session of the resource manager is told about searches in the network.
struct SearchSettings
{
    ViUInt32 networkSearches = 7; ///< added up: 1 VXI-11, 2 HiSLIP, 4 sockets
    ViUInt32 milliseconds = 1000; ///< that a search of the network may take; 0: there is none
};

/// Every open session and find list of the process, by handle. A handle is never given twice. Where a handle is not
/// that of an open object of the wanted kind, the functions give nothing. All are safe to call from several threads.
class Objects
{
public:
    /// Never destroyed: a thread of the client may still call while the process ends.
    [[nodiscard]] static Objects& instance();

    [[nodiscard]] ViSession openSession();
    [[nodiscard]] std::optional<SearchSettings> settings(ViSession session) const;
    /// False where there is no such session.
    bool setSetting(ViSession session, ViUInt32 SearchSettings::*setting, ViUInt32 value);

    /// A list that closes with its session.
    [[nodiscard]] std::optional<ViFindList> openList(ViSession owner, std::vector<std::string> resources);
    [[nodiscard]] bool isList(ViObject handle) const;
    /// The next resource of a list; nothing at its end either.
    [[nodiscard]] std::optional<std::string> next(ViFindList list);

    /// Closes a list, or a session together with its lists. False where there is neither.
    bool close(ViObject handle);

private:
    struct FindList
    {
        ViSession owner;
        std::vector<std::string> resources;
        std::size_t next;
    };

    mutable std::mutex m_mutex;
    std::map<ViSession, SearchSettings> m_sessions;
    std::map<ViFindList, FindList> m_lists;
    ViObject m_lastHandle = VI_NULL;
};

} // namespace standin
