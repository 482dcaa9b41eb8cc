// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Runs on the stand-in libkyvisa.so itself and on the devices of stand-in/on-bench.

#include "World.h"
#include "stand-in/NetworkServices.h"
#include "stand-in/ResourceExpression.h"
#include "visa/visa.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>

using namespace ::testing;
using standin::ResourceExpression;

namespace
{

using Text = std::array<ViChar, VI_FIND_BUFLEN>;

ViSession openSession()
{
    EXPECT_NE(std::getenv("UMOCKDEV_DIR"), nullptr) << "Run it by tests/stand-in/on-bench.";
    ViSession session = VI_NULL;
    viOpenDefaultRM(&session);
    return session;
}

ViStatus search(ViSession session, const char* expression)
{
    return viFindRsrc(session, expression, nullptr, nullptr, nullptr);
}

ViUInt32 number(ViSession session, ViAttr attribute)
{
    ViUInt32 value = 0;
    viGetAttribute(session, attribute, &value);
    return value;
}

/// The resource that a name stands for, with its alias. Empty for what is no name.
std::string resolve(const std::string& name)
{
    Text resource = {};
    Text alias = {};
    viParseRsrcEx(openSession(), name.c_str(), nullptr, nullptr, nullptr, resource.data(), alias.data());
    return resource.data() + (alias[0] == 0 ? std::string() : std::string(" alias ") + alias.data());
}

/// All names that a search lists.
std::vector<std::string> find(ViSession session, const char* expression)
{
    ViFindList list = VI_NULL;
    ViUInt32 count = 0;
    Text name = {};
    std::vector<std::string> names;
    for (ViStatus status = viFindRsrc(session, expression, &list, &count, name.data()); status == VI_SUCCESS;
         status = viFindNext(list, name.data()))
        names.emplace_back(name.data());
    EXPECT_EQ(names.size(), count);
    return names;
}

/// What a search writes to standard error.
std::string traceOfSearch(ViSession session, const char* expression)
{
    internal::CaptureStderr();
    search(session, expression);
    return internal::GetCapturedStderr();
}

} // namespace

TEST(StandIn, FindsWhatMatches)
{
    const ViSession session = openSession();
    EXPECT_THAT(find(session, "asrl1?*"), ElementsAre("ASRL1::INSTR"));
    EXPECT_EQ(search(session, std::string(4096, '?').c_str()), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(search(session, std::string(4097, '?').c_str()), VI_ERROR_INV_EXPR);
}

TEST(StandIn, RefusesMalformedExpressions)
{
    for (const char* expression : {"*", "A**", "A[", "];A", "(A", "A)", "A\\", "A}", "A{VI_ATTR}", "A[3-1]"})
        EXPECT_EQ(search(openSession(), expression), VI_ERROR_INV_EXPR) << expression;
}

TEST(StandIn, MatchesWholeNamesInAnyLetterCase)
{
    // An expression, a name that it matches, and one that it does not.
    std::istringstream rows(R"(
        ASRL?*      asrl1       XASRL1
        A?C         A?C         ABCC
        A.C|A$^C    A$^C        ABC
        A\?C|A[\]]C A]C         ABC
        A[^13]C     A2C         A1C
        A[6-8]D     A7D         A-D
        ab*C|DB+E   ABBC        DE
        A(12|3)+C   A312C       AC)");
    for (std::string expression, matching, other; rows >> expression >> matching >> other;)
    {
        EXPECT_TRUE(ResourceExpression(expression).matches(matching)) << expression << " does not match " << matching;
        EXPECT_FALSE(ResourceExpression(expression).matches(other)) << expression << " matches " << other;
    }
}

TEST(StandIn, AsksOnlyWhereAnAnswerCanBe)
{
    EXPECT_THAT(traceOfSearch(openSession(), "ASRL?*|TCPIP?*"),
                AllOf(HasSubstr("serial port ASRL1::INSTR: /dev/ttyUSB0\n"), HasSubstr("USB instruments: skipped"),
                      HasSubstr("LAN instruments: none")));
    EXPECT_THAT(traceOfSearch(openSession(), "USB?*"), HasSubstr("LAN instruments: skipped"));
}

TEST(StandIn, ClosesTheListsOfASession)
{
    const ViSession session = openSession();
    ViFindList list = VI_NULL;
    ViFindList othersList = VI_NULL;
    viFindRsrc(session, "?*", &list, nullptr, nullptr);
    viFindRsrc(openSession(), "?*", &othersList, nullptr, nullptr);
    EXPECT_EQ(viClose(session), VI_SUCCESS);
    EXPECT_EQ(viFindNext(list, nullptr), VI_ERROR_INV_OBJECT);
    EXPECT_EQ(viFindNext(othersList, nullptr), VI_SUCCESS);
    EXPECT_EQ(viClose(othersList), VI_SUCCESS);
}

TEST(StandIn, RefusesAClosedSession)
{
    const ViSession closed = openSession();
    viClose(closed);
    EXPECT_EQ(search(closed, "?*"), VI_ERROR_INV_OBJECT);
    EXPECT_EQ(viSetAttribute(closed, KYVISA_ATTR_SEARCH_TIME, 1), VI_ERROR_INV_OBJECT);
    EXPECT_EQ(viClose(closed), VI_ERROR_INV_OBJECT);
}

TEST(StandIn, KeepsTheSettingsOfEachSession)
{
    const ViSession session = openSession();
    EXPECT_EQ(viSetAttribute(session, KYVISA_ATTR_NETWORK_SEARCHES, 3), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 4294967295), VI_SUCCESS);
    EXPECT_EQ(number(session, KYVISA_ATTR_SEARCH_TIME), 4294967295U);
    EXPECT_EQ(number(openSession(), KYVISA_ATTR_SEARCH_TIME), 1000U);
    EXPECT_EQ(number(openSession(), KYVISA_ATTR_NETWORK_SEARCHES), 7U);
}

TEST(StandIn, RefusesSettings)
{
    const ViSession session = openSession();
    EXPECT_EQ(viSetAttribute(session, KYVISA_ATTR_NETWORK_SEARCHES, 8), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 4294967296), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(viSetAttribute(session, VI_ATTR_RSRC_MANF_ID, 1), VI_ERROR_ATTR_READONLY);
}

TEST(StandIn, SaysWhoMadeIt)
{
    writeConfiguration(":Provider=4086");
    EXPECT_EQ(number(openSession(), VI_ATTR_RSRC_MANF_ID), 4086U);
    Text name = {};
    viGetAttribute(openSession(), VI_ATTR_RSRC_MANF_NAME, name.data());
    EXPECT_STREQ(name.data(), "Kyvane & Yollet");
    EXPECT_EQ(viOpen(openSession(), "ASRL1", 0, 0, nullptr), VI_ERROR_NSUP_OPER);
}

TEST(StandIn, DescribesStatuses)
{
    Text text = {};
    viStatusDesc(VI_NULL, VI_ERROR_TMO, text.data());
    EXPECT_STREQ(text.data(), "Timeout expired before operation completed.");
    EXPECT_EQ(viStatusDesc(VI_NULL, -1, nullptr), VI_WARN_UNKNOWN_STATUS);
}

TEST(StandIn, ParsesNames)
{
    ViUInt16 type = 0;
    ViUInt16 board = 0;
    viParseRsrc(openSession(), "gpib2::5", &type, &board);
    EXPECT_EQ(type, VI_INTF_GPIB);
    EXPECT_EQ(board, 2);
    Text kind = {};
    viParseRsrcEx(openSession(), "TCPIP::h::1::SOCKET", nullptr, nullptr, kind.data(), nullptr, nullptr);
    EXPECT_STREQ(kind.data(), "SOCKET");
}

TEST(StandIn, CompletesNames)
{
    std::istringstream rows(R"(
        asrl12::instr               ASRL12::INSTR
        asrl/dev/ttyUSB0            ASRL/dev/ttyUSB0::INSTR
        GPIB::30::00::INSTR         GPIB0::30::0::INSTR
        TCPIP::h::COM1,488          TCPIP0::h::COM1,488::INSTR
        TCPIP::h::usb0[1::2::S]     TCPIP0::h::usb0[1::2::S]::INSTR
        TCPIP::h::hislip0,04880     TCPIP0::h::hislip0::INSTR
        TCPIP::[FE80::1%eth0]       TCPIP0::[FE80::1%eth0]::inst0::INSTR
        TCPIP::h::065535::socket    TCPIP0::h::65535::SOCKET
        usb::0x1ab1::0X588::a-1     USB0::0x1AB1::0x0588::a-1::INSTR
        USB::65535::0::A[1::1       USB0::0xFFFF::0x0000::A[1::1::INSTR)");
    for (std::string name, complete; rows >> name >> complete;)
        EXPECT_EQ(resolve(name), complete) << name;
}

TEST(StandIn, RefusesNames)
{
    std::istringstream names(R"(
        SCOPE XASRL1 ASRL65536 ASRL1::SOCKET ASRL1::1 GPIB::INSTR
        GPIB::31::1 GPIB::1::31 GPIB::1::2::3
        TCPIP:: TCPIP::[scope] TCPIP::h::5025 TCPIP::h::usb[ TCPIP::h::hislip0,0 TCPIP::h::raw
        TCPIP::h::SOCKET TCPIP::::1::SOCKET TCPIP::h::0::SOCKET TCPIP::h::65536::SOCKET
        USB::65536::1::S USB::1::0x12345::S USB::1::1 USB::1::1::::INSTR USB::1::1::S::x USB::1::1::RAW)");
    for (std::string name; names >> name;)
        EXPECT_EQ(resolve(name), "") << name;
    EXPECT_EQ(resolve("TCPIP::h::INSTR "), "");
    EXPECT_EQ(resolve("USB::1::1:: S"), "");
    // The complete name must fit into a buffer as well.
    EXPECT_NE(resolve("TCPIP::" + std::string(233, 'h')), "");
    EXPECT_EQ(resolve("TCPIP::" + std::string(234, 'h')), "");
}

TEST(StandIn, KnowsAnAliasOnceTheFileHasIt)
{
    EXPECT_EQ(resolve("scope"), "");
    writeConfiguration("scope=TCPIP::lab1\nMETER=usb::0x1ab1::0x588::a\ndso=TCPIP::lab1");
    EXPECT_EQ(resolve("Scope"), "TCPIP0::lab1::inst0::INSTR alias SCOPE");
    EXPECT_EQ(resolve("tcpip::LAB1"), "TCPIP0::LAB1::inst0::INSTR alias DSO"); // the first in order
    EXPECT_EQ(resolve("USB::6833::1416::A"), "USB0::0x1AB1::0x0588::A::INSTR alias METER");
    EXPECT_EQ(resolve("USB::6833::1416::a::0"), "USB0::0x1AB1::0x0588::a::0::INSTR alias METER");
    EXPECT_EQ(resolve("USB::6833::1416::a::1"), "USB0::0x1AB1::0x0588::a::1::INSTR");
}

TEST(StandIn, NamesServicesByTypeAndAddress)
{
    standin::NetworkServices services;
    services.add({1, 0, "scope", "_scpi-raw._tcp", "local"}, {true, "10.0.0.1", "eth0", 5000});
    services.add({1, 0, "scope", "_hislip._tcp", "local"}, {true, "10.0.0.1", "eth0", 4880});
    services.add({1, 0, "same scope", "_hislip._tcp", "local"}, {true, "10.0.0.1", "eth0", 4880});
    services.add({1, 1, "global", "_vxi-11._tcp", "local"}, {false, "1::1", "eth0", 111});
    services.add({1, 1, "link-local", "_vxi-11._tcp", "local"}, {false, "fe80::1", "eth0", 111});
    EXPECT_THAT(services.resources(),
                ElementsAre("TCPIP0::10.0.0.1::5000::SOCKET", "TCPIP0::10.0.0.1::hislip0,4880::INSTR",
                            "TCPIP0::[1::1]::inst0::INSTR", "TCPIP0::[fe80::1%eth0]::inst0::INSTR"));
}

TEST(StandIn, NamesAServiceOnceByIPv4WhileItIsThere)
{
    standin::NetworkServices services;
    const standin::Announcement leaving = {3, 0, "scope", "_vxi-11._tcp", "local"};
    services.add({1, 1, "scope", "_vxi-11._tcp", "local"}, {false, "1::1", "eth0", 111});
    services.add({2, 0, "scope", "_vxi-11._tcp", "local"}, {true, "10.0.0.2", "eth1", 111});
    services.add(leaving, {true, "10.0.0.1", "eth2", 111});
    EXPECT_THAT(services.resources(), ElementsAre("TCPIP0::10.0.0.1::inst0::INSTR"));
    services.remove(leaving);
    EXPECT_THAT(services.resources(), ElementsAre("TCPIP0::10.0.0.2::inst0::INSTR"));
}

// Runs beside the daemon that stand-in/on-network starts.
TEST(StandIn, DISABLED_FindsWhatADaemonKnows)
{
    const ViSession session = openSession();
    viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 60000);
    EXPECT_THAT(find(session, "TCPIP?*"), SizeIs(142));
    viSetAttribute(session, KYVISA_ATTR_NETWORK_SEARCHES, 2);
    EXPECT_THAT(find(session, "TCPIP?*"), ElementsAre("TCPIP0::10.77.0.2::hislip0,4881::INSTR"));
}

TEST(StandIn, BearsEightThreadsThatUseWhatOthersChange)
{
    std::atomic<ViSession> shared = VI_NULL; // relaxed, so that only the library orders the threads
    const auto useEverything = [&] {
        for (int round = 0; round < 25; ++round)
        {
            ViObject session = VI_NULL, list = VI_NULL;
            Text text = {};
            viOpenDefaultRM(&session);
            // From now on another thread may close the session.
            const ViSession previous = shared.exchange(session, std::memory_order_relaxed);
            viFindRsrc(session, "?*", &list, nullptr, text.data());
            for (int use = 0; use < 20; ++use)
            {
                number(shared.load(std::memory_order_relaxed), VI_ATTR_RSRC_MANF_ID);
                viSetAttribute(shared.load(std::memory_order_relaxed), KYVISA_ATTR_SEARCH_TIME, 20);
                viParseRsrcEx(session, "SCOPE", nullptr, nullptr, nullptr, nullptr, nullptr);
            }
            // An unlocked read of the lists meets others that open and close theirs.
            for (int use = 0; use < 20; ++use, std::this_thread::yield())
                viFindNext(list, text.data());
            viClose(list);
            EXPECT_EQ(viClose(previous), previous == VI_NULL ? VI_WARN_NULL_OBJECT : VI_SUCCESS);
        }
    };
    std::vector<std::thread> threads;
    while (threads.size() < 8)
        threads.emplace_back(useEverything);
    for (int change = 0; change < 100; ++change)
        writeConfiguration(":Provider=1");
    for (std::thread& thread : threads)
        thread.join();
}

TEST(StandIn, WaitsForADeafBusUntilTheTimeIsOver)
{
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unixexec:path=/bin/sleep,argv1=60", 1);
    const ViSession session = openSession();
    viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 1);
    EXPECT_THAT(traceOfSearch(session, "TCPIP?*"), HasSubstr("ended with 3 types and 0 services unanswered: Timer"));
}
