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

/// A DNS-SD type of instrument services.
struct ServiceType
{
    const char* name;
    ViUInt32 search; ///< its bit in SearchSettings::networkSearches
};

inline constexpr std::array<ServiceType, 3> serviceTypes = {
    {{"_vxi-11._tcp", 1}, {"_hislip._tcp", 2}, {"_scpi-raw._tcp", 4}}};

/// An announcement of a service, on one interface and by one protocol.
struct Announcement
{
    int interface; ///< the kernel's index
    int protocol;  ///< 0: IPv4, 1: IPv6
    std::string name;
    std::string type;
    std::string domain;
};

/// The resolved address of an announcement.
struct ServiceAddress
{
    bool isIPv4;
    std::string text;          ///< without brackets
    std::string interfaceName; ///< may be empty
    ViUInt16 port;
};

/// The services that a search has found so far. For one thread.
class NetworkServices
{
public:
    /// Adds the address of this announcement, or replaces it.
    void add(const Announcement& announcement, const ServiceAddress& address);
    /// Removes the address of this announcement.
    void remove(const Announcement& announcement);

    /// Returns the sorted resource strings, each once: one per service, with an IPv4 address if it has announced one.
    [[nodiscard]] std::vector<std::string> resources() const;

private:
    using Service = std::tuple<std::string, std::string, std::string>; // type, name, domain
    using Link = std::pair<int, int>;                                  // interface, protocol

    std::map<Service, std::map<Link, ServiceAddress>> m_services;
};

} // namespace standin
