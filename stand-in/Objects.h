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

/// A session's settings for network searches.
struct SearchSettings
{
    ViUInt32 networkSearches = 7; ///< the sum of 1 VXI-11, 2 HiSLIP, 4 sockets; 0: no search
    ViUInt32 milliseconds = 1000; ///< the time limit of a search; 0: no search
};

/// The open sessions and find lists of the process, by handle. Handles are never reused.
///
/// A function that does not find an open object of its kind returns nothing or false. Any thread may call.
class Objects
{
public:
    /// Returns the only object. It is never destroyed, because a thread may still call while the process ends.
    [[nodiscard]] static Objects& instance();

    [[nodiscard]] ViSession openSession();
    [[nodiscard]] std::optional<SearchSettings> settings(ViSession session) const;
    bool setSetting(ViSession session, ViUInt32 SearchSettings::*setting, ViUInt32 value);

    /// Opens a list. Closing its session closes it too.
    [[nodiscard]] std::optional<ViFindList> openList(ViSession owner, std::vector<std::string> resources);
    [[nodiscard]] bool isList(ViObject handle) const;
    /// Returns the next resource of a list. At its end, returns nothing too.
    [[nodiscard]] std::optional<std::string> next(ViFindList list);

    /// Closes a list, or a session and its lists.
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
