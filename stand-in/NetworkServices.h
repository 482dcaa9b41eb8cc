// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

#include <array>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace standin
{

/// A kind of instrument service in DNS-SD.
struct ServiceType
{
    const char* name;
    ViUInt32 search; ///< its bit in SearchSettings::networkSearches
};

inline constexpr std::array<ServiceType, 3> serviceTypes = {
    {{"_vxi-11._tcp", 1}, {"_hislip._tcp", 2}, {"_scpi-raw._tcp", 4}}};

/// A service as one interface announces it by one protocol.
struct Announcement
{
    int interface; ///< the kernel's index
    int protocol;  ///< 0: IPv4, 1: IPv6
    std::string name;
    std::string type;
    std::string domain;
};

/// Where a service is reached.
struct ServiceAddress
{
    bool isIPv4;
    std::string text;          ///< the bare address
    std::string interfaceName; ///< where a link-local address is valid; may be empty
    ViUInt16 port;
};

/// What a search of the network has found so far.
class NetworkServices
{
public:
    void add(const Announcement& announcement, const ServiceAddress& address);
    /// Forgets the address that this announcement led to.
    void remove(const Announcement& announcement);

    /// The resource string of each service, in order and without repetition. A service that several announcements
    /// name appears once, by an IPv4 address where it has one.
    [[nodiscard]] std::vector<std::string> resources() const;

private:
    using Service = std::tuple<std::string, std::string, std::string>; // type, name, domain
    using Link = std::pair<int, int>;                                  // interface, protocol

    std::map<Service, std::map<Link, ServiceAddress>> m_services;
};

} // namespace standin
