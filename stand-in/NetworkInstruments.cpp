// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "NetworkInstruments.h"

#include "NetworkServices.h"
#include "SdBus.h"
#include "Trace.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <queue>
#include <set>
#include <stdexcept>
#include <system_error>

#include <net/if.h>

namespace standin
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int anyInterfaceOrProtocol = -1;
constexpr int ipv4 = 0;                           // Avahi's number for it
constexpr std::size_t mostResolving = 64;         // a bus allows 128 pending replies per connection
constexpr std::uint64_t noTimeLimit = UINT64_MAX; // run() has a deadline

struct BusRelease
{
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }

    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

/// One search: asks the system's Avahi daemon over D-Bus for the services that it knows.
///
/// All calls are asynchronous: a synchronous one has no time limit on a bus that accepts and never answers. The daemon
/// addresses its signals to this connection, so there is no match rule.
class ServiceSearch
{
public:
    /// Returns what was found when all answers have arrived, or at the deadline.
    [[nodiscard]] std::vector<std::string> run(ViUInt32 searches, Clock::time_point deadline)
    {
        sd_bus* opened = nullptr;
        const int result = sd_bus_open_system(&opened);
        m_bus.reset(opened);
        if (result < 0 || sd_bus_add_filter(opened, nullptr, signalled, this) < 0)
            throw std::system_error(result < 0 ? -result : ENOMEM, std::generic_category(), "the system bus");
        for (const ServiceType& type : serviceTypes)
        {
            if ((searches & type.search) != 0)
                call(m_browsing, "ServiceBrowserNew", browsing, "iissu", anyInterfaceOrProtocol, anyInterfaceOrProtocol,
                     type.name, "", 0U);
        }
        while ((m_browsing != 0 || m_resolving != 0 || m_error != 0) && process(deadline))
            resolveMore();
        return m_services.resources();
    }

private:
    /// Handles one message or waits for the next. Returns false if the bus failed or the time is over.
    bool process(Clock::time_point deadline)
    {
        const auto left = std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::now()).count();
        int result = left > 0 ? m_error : -ETIME;
        if (result == 0)
            result = sd_bus_process(m_bus.get(), nullptr);
        if (result == 0)
            result = sd_bus_wait(m_bus.get(), static_cast<std::uint64_t>(left));
        if (result >= 0 || result == -EINTR)
            return true;
        trace("LAN instruments: ended with ", m_browsing, " types and ", m_resolving + m_unresolved.size(),
              " services unanswered: ", std::generic_category().message(-result));
        return false;
    }

    /// Sends a call that does not start the daemon, and counts it. The search ends if that fails.
    template <typename Count, typename... Arguments>
    void call(Count& unanswered, const char* method, sd_bus_message_handler_t answered, const char* types,
              Arguments... arguments)
    {
        sd_bus_message* created = nullptr;
        const int result = sd_bus_message_new_method_call(m_bus.get(), &created, "org.freedesktop.Avahi", "/",
                                                          "org.freedesktop.Avahi.Server", method);
        const std::unique_ptr<sd_bus_message, BusRelease> message(created);
        if (result < 0 || sd_bus_message_append(created, types, arguments...) < 0 ||
            sd_bus_message_set_auto_start(created, 0) < 0 ||
            sd_bus_call_async(m_bus.get(), nullptr, created, answered, this, noTimeLimit) < 0)
            m_error = -ECOMM;
        ++unanswered;
    }

    /// Runs a callback's work. An exception must not pass through sd-bus, so it ends the search.
    template <typename Work>
    static int handle(void* search, Work work) noexcept
    {
        auto& self = *static_cast<ServiceSearch*>(search);
        try
        {
            work(self);
        }
        catch (...)
        {
            self.m_error = -ENOMEM;
        }
        return 0;
    }

    static bool isError(sd_bus_message* reply)
    {
        const sd_bus_error* error = sd_bus_message_get_error(reply);
        if (error != nullptr)
            trace("LAN instruments: ", error->message == nullptr ? error->name : error->message);
        return error != nullptr;
    }

    static int browsing(sd_bus_message* reply, void* search, sd_bus_error* /*error*/)
    {
        // A refused browser sends no AllForNow, so stop waiting for it here.
        return handle(search, [&](ServiceSearch& self) { self.m_browsing -= isError(reply) ? 1 : 0; });
    }

    static int signalled(sd_bus_message* message, void* search, sd_bus_error* /*error*/)
    {
        return handle(search, [&](ServiceSearch& self) {
            const auto is = [&](const char* member) {
                return sd_bus_message_is_signal(message, "org.freedesktop.Avahi.ServiceBrowser", member) > 0;
            };
            // AllForNow can arrive before the answers of resolvers, so m_resolving counts those.
            if (is("AllForNow") || is("Failure"))
                self.m_browsing -= self.m_ended.insert(sd_bus_message_get_path(message)).second ? 1 : 0;
            Announcement announcement = {};
            if (is("ItemNew") && readAnnouncement(message, announcement))
                self.m_unresolved.push(std::move(announcement));
            else if (is("ItemRemove") && readAnnouncement(message, announcement))
                self.m_services.remove(announcement);
        });
    }

    void resolveMore()
    {
        for (; m_resolving < mostResolving && !m_unresolved.empty(); m_unresolved.pop())
        {
            const auto& [interface, protocol, name, type, domain] = m_unresolved.front();
            call(m_resolving, "ResolveService", resolved, "iisssiu", interface, protocol, name.c_str(), type.c_str(),
                 domain.c_str(), protocol == ipv4 ? ipv4 : anyInterfaceOrProtocol, 0U);
        }
    }

    static int resolved(sd_bus_message* reply, void* search, sd_bus_error* /*error*/)
    {
        return handle(search, [&](ServiceSearch& self) {
            --self.m_resolving;
            Announcement announcement = {};
            const char* hostName = nullptr;
            int protocol = 0;
            const char* address = nullptr;
            ViUInt16 port = 0;
            if (!isError(reply) && readAnnouncement(reply, announcement) &&
                sd_bus_message_read(reply, "sisq", &hostName, &protocol, &address, &port) > 0)
                self.m_services.add(announcement,
                                    {protocol == ipv4, address, interfaceName(announcement.interface), port});
        });
    }

    static bool readAnnouncement(sd_bus_message* message, Announcement& announcement)
    {
        const char* name = nullptr;
        const char* type = nullptr;
        const char* domain = nullptr;
        if (sd_bus_message_read(message, "iisss", &announcement.interface, &announcement.protocol, &name, &type,
                                &domain) <= 0)
            return false;
        announcement.name = name;
        announcement.type = type;
        announcement.domain = domain;
        return true;
    }

    static std::string interfaceName(int interface)
    {
        std::array<char, IF_NAMESIZE> name = {};
        return if_indextoname(static_cast<unsigned>(interface), name.data()) == nullptr ? "" : name.data();
    }

    std::unique_ptr<sd_bus, BusRelease> m_bus;
    NetworkServices m_services;
    std::queue<Announcement> m_unresolved;
    std::set<std::string> m_ended; ///< the paths of the browsers that have ended
    int m_browsing = 0;
    std::size_t m_resolving = 0;
    int m_error = 0; ///< a negative errno ends the search
};

} // namespace

std::vector<std::string> networkInstrumentResources(const SearchSettings& settings)
{
    if (settings.networkSearches == 0 || settings.milliseconds == 0)
        throw std::runtime_error("an attribute of the session is 0");
    return ServiceSearch().run(settings.networkSearches,
                               Clock::now() + std::chrono::milliseconds(settings.milliseconds));
}

} // namespace standin
