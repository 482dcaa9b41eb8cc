// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "NetworkServices.h"

#include <set>

namespace standin
{

namespace
{

/// Returns the host of a resource string: IPv6 in brackets, with the interface if it is link-local.
std::string hostField(const ServiceAddress& address)
{
    if (address.isIPv4)
        return address.text;
    const bool isLinkLocal = address.text.rfind("fe80:", 0) == 0 && !address.interfaceName.empty();
    return "[" + address.text + (isLinkLocal ? "%" + address.interfaceName : "") + "]";
}

std::string resourceName(const std::string& type, const ServiceAddress& address)
{
    const std::string board = "TCPIP0::" + hostField(address) + "::";
    const std::string port = std::to_string(address.port);
    if (type == "_vxi-11._tcp")
        return board + "inst0::INSTR";
    if (type == "_hislip._tcp")
        return board + "hislip0," + port + "::INSTR";
    return board + port + "::SOCKET";
}

} // namespace

void NetworkServices::add(const Announcement& announcement, const ServiceAddress& address)
{
    const auto& [interface, protocol, name, type, domain] = announcement;
    m_services[{type, name, domain}].insert_or_assign({interface, protocol}, address);
}

void NetworkServices::remove(const Announcement& announcement)
{
    const auto& [interface, protocol, name, type, domain] = announcement;
    m_services[{type, name, domain}].erase({interface, protocol});
}

std::vector<std::string> NetworkServices::resources() const
{
    std::set<std::string> resources;
    for (const auto& [service, addresses] : m_services)
    {
        // Prefer IPv4, then the smallest name, for a stable result.
        std::set<std::pair<bool, std::string>> ranked;
        for (const auto& [link, address] : addresses)
            ranked.emplace(!address.isIPv4, resourceName(std::get<0>(service), address));
        if (!ranked.empty())
            resources.insert(ranked.begin()->second);
    }
    return {resources.begin(), resources.end()};
}

} // namespace standin
