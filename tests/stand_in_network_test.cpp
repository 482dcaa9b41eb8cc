// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "stand-in/NetworkServices.h"

#include <gmock/gmock.h>

using standin::NetworkServices;
using ::testing::ElementsAre;

namespace
{

standin::Announcement service(const std::string& name, const std::string& type = "_vxi-11._tcp", int interface = 1)
{
    return {interface, 0, name, type, "local"};
}

standin::ServiceAddress at(const std::string& address, ViUInt16 port = 111, const std::string& interfaceName = "eth0")
{
    return {address.find(':') == std::string::npos, address, interfaceName, port};
}

} // namespace

TEST(StandInNetwork, NamesServicesByTypeAndAddress)
{
    NetworkServices services;
    services.add(service("scope", "_scpi-raw._tcp"), at("10.0.0.1", 5000));
    services.add(service("scope", "_hislip._tcp"), at("10.0.0.1", 4880));
    services.add(service("global IPv6"), at("1::1"));
    services.add(service("link-local"), at("fe80::1"));
    services.add(service("unplugged"), at("fe80::2", 111, ""));
    EXPECT_THAT(services.resources(),
                ElementsAre("TCPIP0::10.0.0.1::5000::SOCKET", "TCPIP0::10.0.0.1::hislip0,4880::INSTR",
                            "TCPIP0::[1::1]::inst0::INSTR", "TCPIP0::[fe80::1%eth0]::inst0::INSTR",
                            "TCPIP0::[fe80::2]::inst0::INSTR"));
}

TEST(StandInNetwork, NamesAServiceOnceByIPv4WhileItIsThere)
{
    NetworkServices services;
    services.add(service("scope", "_vxi-11._tcp", 1), at("1::1"));
    services.add(service("scope", "_vxi-11._tcp", 2), at("10.0.0.2"));
    services.add(service("scope", "_vxi-11._tcp", 3), at("10.0.0.1"));
    services.add(service("same place"), at("10.0.0.1"));
    EXPECT_THAT(services.resources(), ElementsAre("TCPIP0::10.0.0.1::inst0::INSTR"));
    services.remove(service("same place"));
    services.remove(service("scope", "_vxi-11._tcp", 3));
    EXPECT_THAT(services.resources(), ElementsAre("TCPIP0::10.0.0.2::inst0::INSTR"));
}
