// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "NetworkInstruments.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <tuple>

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/simple-watch.h>
#include <net/if.h>

namespace standin
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int mostSearches = 8; // at a time; a daemon that hangs keeps one for as long as D-Bus waits
constexpr std::uint16_t hiSlipPort = 4880;

struct ServiceType
{
    const char* name;
    ViUInt32 bit; ///< in SearchSettings::networkSearches
};

constexpr std::array<ServiceType, 3> serviceTypes = {{{"_vxi-11._tcp", 1}, {"_hislip._tcp", 2}, {"_scpi-raw._tcp", 4}}};

/// Name, type and domain: what makes two announcements, of several interfaces and protocols, the same service.
using Service = std::tuple<std::string, std::string, std::string>;

struct Address
{
    AvahiProtocol protocol;
    std::string host; ///< as it stands in a resource string
    std::uint16_t port;
};

std::string resourceName(const std::string& type, const Address& address)
{
    const std::string board = "TCPIP0::" + address.host + "::";
    const std::string port = std::to_string(address.port);
    if (type == "_vxi-11._tcp")
        return board + "inst0::INSTR";
    if (type == "_hislip._tcp")
        return board + "hislip0" + (address.port == hiSlipPort ? "" : "," + port) + "::INSTR";
    return board + port + "::SOCKET";
}

/// What a search has found so far, shared by its thread and by the one that waits for it.
class Findings
{
public:
    void add(const Service& service, const Address& address)
    {
        const std::lock_guard lock(m_mutex);
        const auto [entry, isNew] = m_addresses.emplace(service, address);
        // IPv4 before IPv6, and of several the same one each time.
        const auto rank = [](const Address& each) { return std::tuple(each.protocol != AVAHI_PROTO_INET, each.host); };
        if (!isNew && rank(address) < rank(entry->second))
            entry->second = address;
    }

    void complete()
    {
        const std::lock_guard lock(m_mutex);
        m_complete = true;
        m_completed.notify_all();
    }

    std::vector<std::string> resourcesBy(Clock::time_point deadline)
    {
        std::unique_lock lock(m_mutex);
        m_completed.wait_until(lock, deadline, [this] { return m_complete; });
        std::vector<std::string> resources;
        for (const auto& [service, address] : m_addresses)
            resources.push_back(resourceName(std::get<1>(service), address));
        std::sort(resources.begin(), resources.end());
        resources.erase(std::unique(resources.begin(), resources.end()), resources.end());
        return resources;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_completed;
    std::map<Service, Address> m_addresses;
    bool m_complete = false;
};

struct AvahiRelease
{
    void operator()(AvahiSimplePoll* poll) const { avahi_simple_poll_free(poll); }

    void operator()(AvahiClient* client) const { avahi_client_free(client); }
};

/// One search in the daemon's knowledge, in a thread of its own.
class ServiceSearch
{
public:
    explicit ServiceSearch(Findings& findings) : m_findings(findings) {}

    void run(ViUInt32 searches, Clock::time_point deadline)
    {
        const std::unique_ptr<AvahiSimplePoll, AvahiRelease> poll(avahi_simple_poll_new());
        if (!poll)
            return;
        // Fails at once where there is no daemon. The client frees browsers and resolvers that are left.
        const std::unique_ptr<AvahiClient, AvahiRelease> client(
            avahi_client_new(avahi_simple_poll_get(poll.get()), AvahiClientFlags(0), clientChanged, this, nullptr));
        if (!client)
            return;
        for (const ServiceType& type : serviceTypes)
        {
            const bool wanted = (searches & type.bit) != 0;
            if (wanted && avahi_service_browser_new(client.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, type.name,
                                                    nullptr, AvahiLookupFlags(0), browsed, this) != nullptr)
                ++m_unanswered;
        }
        while (m_unanswered > 0)
        {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            const auto wait = static_cast<int>(std::min<std::int64_t>(left, std::numeric_limits<int>::max()));
            if (left <= 0 || avahi_simple_poll_iterate(poll.get(), wait) != 0)
                return;
        }
    }

private:
    static void clientChanged(AvahiClient* /*client*/, AvahiClientState state, void* search)
    {
        if (state == AVAHI_CLIENT_FAILURE)
            static_cast<ServiceSearch*>(search)->m_unanswered = 0;
    }

    static void browsed(AvahiServiceBrowser* browser, AvahiIfIndex interface, AvahiProtocol protocol,
                        AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
                        AvahiLookupResultFlags /*flags*/, void* search)
    {
        auto& self = *static_cast<ServiceSearch*>(search);
        // "All for now" comes before the resolvers have answered, so they are counted as well.
        if (event == AVAHI_BROWSER_ALL_FOR_NOW || event == AVAHI_BROWSER_FAILURE)
            --self.m_unanswered;
        if (event != AVAHI_BROWSER_NEW)
            return;
        const AvahiProtocol wanted = protocol == AVAHI_PROTO_INET ? AVAHI_PROTO_INET : AVAHI_PROTO_UNSPEC;
        if (avahi_service_resolver_new(avahi_service_browser_get_client(browser), interface, protocol, name, type,
                                       domain, wanted, AvahiLookupFlags(0), resolved, search) != nullptr)
            ++self.m_unanswered;
    }

    static void resolved(AvahiServiceResolver* resolver, AvahiIfIndex interface, AvahiProtocol /*protocol*/,
                         AvahiResolverEvent event, const char* name, const char* type, const char* domain,
                         const char* /*hostName*/, const AvahiAddress* address, std::uint16_t port,
                         AvahiStringList* /*texts*/, AvahiLookupResultFlags /*flags*/, void* search)
    {
        auto& self = *static_cast<ServiceSearch*>(search);
        if (event == AVAHI_RESOLVER_FOUND)
            self.m_findings.add({name, type, domain}, {address->proto, hostField(*address, interface), port});
        avahi_service_resolver_free(resolver);
        --self.m_unanswered;
    }

    /// An address as it stands in a resource string: one of IPv6 in brackets, with its interface if only that knows it.
    static std::string hostField(const AvahiAddress& address, AvahiIfIndex interface)
    {
        std::array<char, AVAHI_ADDRESS_STR_MAX> text = {};
        avahi_address_snprint(text.data(), text.size(), &address);
        if (address.proto == AVAHI_PROTO_INET)
            return text.data();
        std::string host = text.data();
        std::array<char, IF_NAMESIZE> interfaceName = {};
        if (host.rfind("fe80:", 0) == 0 &&
            if_indextoname(static_cast<unsigned>(interface), interfaceName.data()) != nullptr)
            host.append("%").append(interfaceName.data());
        return "[" + host + "]";
    }

    Findings& m_findings;
    int m_unanswered = 0; ///< browsers and resolvers
};

/// Room for so many searches at a time.
class SearchSlots
{
public:
    /// Never destroyed: a search may still run while the process ends.
    static SearchSlots& instance()
    {
        static auto* slots = new SearchSlots;
        return *slots;
    }

    /// False where none has become free by then.
    bool take(Clock::time_point deadline)
    {
        std::unique_lock lock(m_mutex);
        if (!m_released.wait_until(lock, deadline, [this] { return m_taken < mostSearches; }))
            return false;
        ++m_taken;
        return true;
    }

    void release()
    {
        const std::lock_guard lock(m_mutex);
        --m_taken;
        m_released.notify_one();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_released;
    int m_taken = 0;
};

/// Starts a thread that takes none of the client's signals.
template <typename Work>
void startQuietly(Work work)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try
    {
        std::thread(std::move(work)).detach();
    }
    catch (...)
    {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace

std::vector<std::string> networkInstrumentResources(const SearchSettings& settings)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(settings.milliseconds);
    if (settings.networkSearches == 0 || settings.milliseconds == 0 || !SearchSlots::instance().take(deadline))
        return {};

    // The client library waits for a daemon that hangs, longer than a search may take. So the search has a thread that
    // nobody waits for, and what the two share lives as long as either.
    const auto findings = std::make_shared<Findings>();
    try
    {
        startQuietly([findings, searches = settings.networkSearches, deadline] {
            ServiceSearch(*findings).run(searches, deadline);
            findings->complete();
            SearchSlots::instance().release();
        });
    }
    catch (...)
    {
        SearchSlots::instance().release();
        throw;
    }
    return findings->resourcesBy(deadline);
}

} // namespace standin
