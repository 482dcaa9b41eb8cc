// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Objects.h"

#include <iterator>
#include <utility>

namespace standin
{

Objects& Objects::instance()
{
    static auto* objects = new Objects;
    return *objects;
}

ViSession Objects::openSession()
{
    const std::lock_guard lock(m_mutex);
    m_sessions.emplace(++m_lastHandle, SearchSettings());
    return m_lastHandle;
}

std::optional<SearchSettings> Objects::settings(ViSession session) const
{
    const std::lock_guard lock(m_mutex);
    const auto entry = m_sessions.find(session);
    return entry == m_sessions.end() ? std::nullopt : std::optional(entry->second);
}

bool Objects::setSetting(ViSession session, ViUInt32 SearchSettings::*setting, ViUInt32 value)
{
    const std::lock_guard lock(m_mutex);
    const auto entry = m_sessions.find(session);
    if (entry != m_sessions.end())
        entry->second.*setting = value;
    return entry != m_sessions.end();
}

std::optional<ViFindList> Objects::openList(ViSession owner, std::vector<std::string> resources)
{
    const std::lock_guard lock(m_mutex);
    // Another thread may have closed the session during the search.
    if (m_sessions.count(owner) == 0)
        return std::nullopt;
    m_lists.emplace(++m_lastHandle, FindList{owner, std::move(resources), 0});
    return m_lastHandle;
}

bool Objects::isList(ViObject handle) const
{
    const std::lock_guard lock(m_mutex);
    return m_lists.count(handle) != 0;
}

std::optional<std::string> Objects::next(ViFindList list)
{
    const std::lock_guard lock(m_mutex);
    const auto entry = m_lists.find(list);
    if (entry == m_lists.end() || entry->second.next == entry->second.resources.size())
        return std::nullopt;
    return entry->second.resources[entry->second.next++];
}

bool Objects::close(ViObject handle)
{
    const std::lock_guard lock(m_mutex);
    if (m_lists.erase(handle) != 0)
        return true;
    for (auto list = m_lists.begin(); list != m_lists.end();)
        list = list->second.owner == handle ? m_lists.erase(list) : std::next(list);
    return m_sessions.erase(handle) != 0;
}

} // namespace standin
