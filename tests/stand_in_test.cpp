// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Runs on the stand-in libkyvisa.so itself.

#include "World.h"
#include "stand-in/ResourceExpression.h"
#include "stand-in/ResourceName.h"
#include "stand-in/UsbInstruments.h"
#include "visa/visa.h"

#include <QStringList>

#include <array>
#include <atomic>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Text = std::array<ViChar, VI_FIND_BUFLEN>;

/// Makes one call, which is written as its name without "vi" and its arguments, and returns what it gives: the status
/// and then what is neither 0 nor empty. A find that ends in "-" takes no list.
std::string answer(const std::string& line)
{
    std::istringstream words(line);
    std::string call, name, last;
    ViObject object = VI_NULL;
    words >> call >> object >> name >> last;
    const auto code = static_cast<std::uint32_t>(std::strtoul(name.c_str(), nullptr, 16));
    ViObject given = VI_NULL;
    ViUInt32 number = 0;
    std::array<ViUInt16, 2> interface = {};
    std::array<Text, 3> texts = {};
    Text& text = texts[2];
    const std::map<std::string, std::function<ViStatus()>> calls = {
        {"OpenDefaultRM", [&] { return viOpenDefaultRM(&given); }},
        {"SetAttribute", [&] { return viSetAttribute(object, code, std::stoull(last)); }},
        {"GetNumber", [&] { return viGetAttribute(object, code, &number); }},
        {"GetText", [&] { return viGetAttribute(object, code, text.data()); }},
        {"FindRsrc",
         [&] { return viFindRsrc(object, name.c_str(), last == "-" ? nullptr : &given, &number, text.data()); }},
        {"FindNext", [&] { return viFindNext(object, text.data()); }},
        {"ParseRsrc", [&] { return viParseRsrc(object, name.c_str(), &interface[0], &interface[1]); }},
        {"ParseRsrcEx",
         [&] {
             return viParseRsrcEx(object, name.c_str(), &interface[0], &interface[1], texts[0].data(), texts[1].data(),
                                  text.data());
         }},
        {"Open", [&] { return viOpen(object, name.c_str(), 0, 0, &given); }},
        {"StatusDesc", [&] { return viStatusDesc(object, static_cast<ViStatus>(code), text.data()); }},
        {"Close", [&] { return viClose(object); }},
    };
    std::ostringstream result;
    result << std::hex << std::uppercase << calls.at(call)() << std::dec;
    for (const std::uint32_t each : {given, number, std::uint32_t{interface[0]}, std::uint32_t{interface[1]}})
        result << (each == 0 ? "" : " " + std::to_string(each));
    for (const Text& each : texts)
        result << (each[0] == '\0' ? "" : " ") << each.data();
    return result.str();
}

std::vector<std::string> words(const char* text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

std::atomic<ViSession> shared = VI_NULL;

void useEverything()
{
    for (int round = 0; round < 25; ++round)
    {
        ViSession session = VI_NULL;
        ASSERT_EQ(viOpenDefaultRM(&session), VI_SUCCESS);
        ASSERT_EQ(viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 20), VI_SUCCESS);
        for (const ViSession used : {session, shared.load()})
        {
            ViFindList list = VI_NULL;
            Text text = {};
            const ViStatus status = viFindRsrc(used, "?*", &list, nullptr, text.data());
            // A shared session may have been closed meanwhile, and its list with it.
            EXPECT_TRUE(status == VI_SUCCESS || used != session) << std::hex << status;
            while (viFindNext(list, text.data()) == VI_SUCCESS)
                viParseRsrcEx(used, text.data(), nullptr, nullptr, nullptr, text.data(), nullptr);
            viGetAttribute(used, VI_ATTR_RSRC_MANF_NAME, text.data());
            viStatusDesc(used, status, text.data());
            viClose(list);
        }
        viClose(shared.exchange(session));
    }
}

} // namespace

/// Each line of the file is a call and, behind "->", its answer, or "conf" and lines of visa.conf with "; " between
/// them.
TEST(StandIn, AnswersCalls)
{
    const std::string expected = readFile(std::getenv("CALLS"));
    std::istringstream lines(expected);
    std::string transcript;
    for (std::string line; std::getline(lines, line);)
    {
        const bool isConfiguration = line.rfind("conf ", 0) == 0;
        if (isConfiguration)
            writeConfiguration(QString::fromStdString(line.substr(5)).replace("; ", "\n").toStdString());
        if (!isConfiguration && !line.empty() && line.front() != '#')
        {
            const std::string call = line.substr(0, line.find(" -> "));
            line = call + " -> " + answer(call);
        }
        transcript += line + "\n";
    }
    EXPECT_EQ(transcript, expected);
}

TEST(StandIn, RefusesNullAndTooLong)
{
    ViSession session = VI_NULL;
    ASSERT_EQ(viOpenDefaultRM(&session), VI_SUCCESS);
    EXPECT_EQ(viOpenDefaultRM(nullptr), VI_ERROR_USER_BUF);
    EXPECT_EQ(viGetAttribute(session, VI_ATTR_RSRC_MANF_ID, nullptr), VI_ERROR_USER_BUF);
    EXPECT_EQ(viFindRsrc(session, nullptr, nullptr, nullptr, nullptr), VI_ERROR_INV_EXPR);
    EXPECT_EQ(viFindRsrc(session, std::string(4096, '?').c_str(), nullptr, nullptr, nullptr), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(viFindRsrc(session, std::string(4097, '?').c_str(), nullptr, nullptr, nullptr), VI_ERROR_INV_EXPR);
    EXPECT_EQ(viParseRsrc(session, nullptr, nullptr, nullptr), VI_ERROR_INV_RSRC_NAME);
    EXPECT_EQ(viParseRsrcEx(session, "ASRL1", nullptr, nullptr, nullptr, nullptr, nullptr), VI_SUCCESS);
    EXPECT_EQ(viOpen(session, nullptr, 0, 0, nullptr), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viStatusDesc(session, VI_SUCCESS, nullptr), VI_SUCCESS);
    // "TCPIP0::" and "::inst0::INSTR" leave a host 233 of 255 characters.
    for (const std::size_t length : {233U, 234U})
    {
        const std::string name = "TCPIP::" + std::string(length, 'h');
        EXPECT_EQ(viParseRsrc(session, name.c_str(), nullptr, nullptr),
                  length == 233 ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME);
    }
}

TEST(StandInTables, Expressions)
{
    // An expression, what it matches and what not.
    const char* const cases[][3] = {
        {"?*", "ASRL1::INSTR \xE9", ""},
        {"ASRL?*", "ASRL1::INSTR asrl1", "XASRL1 SRL1"},
        {"?*INSTR", "ASRL1::INSTR INSTR", "ASRL1::INSTRX"},
        {"A?C", "ABC A?C", "AC ABBC"},
        {"A.C", "A.C", "ABC"},
        {"A\\?C", "A?C", "ABC A\\?C"},
        {"A[\\]]C", "A]C", "A\\]C"},
        {"A[13]C", "A1C A3C", "A2C AC A13C"},
        {"A[^13]C", "A2C", "A1C A3C"},
        {"A[2-4]C", "A3C", "A1C A-C A5C"},
        {"A[.]C", "A.C", "ABC"},
        {"A[1^]C", "A1C A^C", "A2C"},
        {"AB*C", "AC ABBC", "ADC"},
        {"AB+C", "ABC ABBC", "AC"},
        {"A(12|3)+C", "A12C A312C", "AC A1C"},
        {"ab|CD", "AB cd", "ABD ACD"},
        {"A$^C", "A$^C", "AC"},
    };
    for (const auto& [expression, matching, others] : cases)
    {
        const standin::ResourceExpression wanted(expression);
        for (const std::string& name : words(matching))
            EXPECT_TRUE(wanted.isValid() && wanted.matches(name)) << expression << " " << name;
        for (const std::string& name : words(others))
            EXPECT_FALSE(wanted.matches(name)) << expression << " " << name;
    }
    for (const char* malformed : {"*", "A**", "A[", "A]", "(A", "A)", "A\\", "A?*{VI_ATTR}", "A}", "A[3-1]"})
        EXPECT_FALSE(standin::ResourceExpression(malformed).isValid()) << malformed;
}

TEST(StandInTables, Names)
{
    // A name, and its type, board, class and expansion; empty where it is none.
    const std::pair<const char*, const char*> cases[] = {
        {"asrl12::instr", "4 12 INSTR ASRL12::INSTR"},
        {"ASRL", "4 0 INSTR ASRL0::INSTR"},
        {"ASRL65535", "4 65535 INSTR ASRL65535::INSTR"},
        {"gpib::5", "1 0 INSTR GPIB0::5::INSTR"},
        {"GPIB2::0::INSTR", "1 2 INSTR GPIB2::0::INSTR"},
        {"GPIB0::30::30::INSTR", "1 0 INSTR GPIB0::30::30::INSTR"},
        {"TCPIP::192.168.1.20::INSTR", "6 0 INSTR TCPIP0::192.168.1.20::inst0::INSTR"},
        {"TCPIP0::scope::inst1", "6 0 INSTR TCPIP0::scope::inst1::INSTR"},
        {"TCPIP0::gateway::gpib0,5::INSTR", "6 0 INSTR TCPIP0::gateway::gpib0,5::INSTR"},
        {"tcpip2::Scope::hislip0,65535", "6 2 INSTR TCPIP2::Scope::hislip0,65535::INSTR"},
        {"TCPIP0::[fe80::1%eth0]::hislip0::INSTR", "6 0 INSTR TCPIP0::[fe80::1%eth0]::hislip0::INSTR"},
        {"TCPIP::[FD00::1]", "6 0 INSTR TCPIP0::[FD00::1]::inst0::INSTR"},
        {"TCPIP::h::5025::socket", "6 0 SOCKET TCPIP0::h::5025::SOCKET"},
        {"TCPIP::h::65535::SOCKET", "6 0 SOCKET TCPIP0::h::65535::SOCKET"},
        {"usb0::0x1ab1::0x588::a-1", "7 0 INSTR USB0::0x1ab1::0x588::a-1::INSTR"},
        {"USB::65535::0::DS1::1::INSTR", "7 0 INSTR USB0::65535::0::DS1::1::INSTR"},
    };
    for (const auto& [name, expected] : cases)
    {
        const auto parsed = standin::parseResourceName(name);
        ASSERT_TRUE(parsed) << name;
        std::ostringstream text;
        text << parsed->interfaceType << ' ' << parsed->interfaceNumber << ' ' << parsed->resourceClass << ' '
             << parsed->expandedName;
        EXPECT_EQ(text.str(), expected) << name;
    }
    for (const char* name : {"",
                             "SCOPE",
                             "ASRL65536",
                             "ASRL1::INSTRX",
                             "ASRL1::SOCKET",
                             "XASRL1",
                             "GPIB0::INSTR",
                             "GPIB0::31::INSTR",
                             "GPIB0::1::31",
                             "GPIB0::1::2::3",
                             "GPIB0::1::SOCKET",
                             "TCPIP::",
                             "TCPIP0::::inst0::INSTR",
                             "TCPIP0::INSTR",
                             "TCPIP::socket",
                             "TCPIP0::scope::SOCKET",
                             "TCPIP::h::0::SOCKET",
                             "TCPIP::h::65536::SOCKET",
                             "TCPIP::h::5025",
                             "TCPIP::::5025::SOCKET",
                             "TCPIP::h::hislip0,0",
                             "TCPIP::h::hislip0,65536::INSTR",
                             "TCPIP::a b::INSTR",
                             "TCPIP::fe80::1::INSTR",
                             "TCPIP::[scope]",
                             "TCPIP::[]",
                             "TCPIP::[fe80::1%]",
                             "TCPIP65536::h::INSTR",
                             "USB0::65536::1::DS1",
                             "USB0::1::65536::DS1",
                             "USB0::0x12345::1::DS1",
                             "USB0::0x1AB1::0x0588::::INSTR",
                             "USB0::0x1AB1::0x0588::INSTR::",
                             "KYIB::scope"})
        EXPECT_FALSE(standin::parseResourceName(name)) << name;
}

TEST(StandInTables, SerialNumberFields)
{
    const std::pair<std::string, std::string> cases[] = {
        {"DS1-a.b_9zZ", "DS1-a.b_9zZ"},
        {" \t\r\nA B\n ", "A_B"},
        {" \t ", ""},
        {"", ""},
        {"A::B=#*\xC3\xA4", "A__B_____"},
        {std::string("A\0B", 3), "A_B"},
        {std::string(129, 'x'), std::string(128, 'x')},
    };
    for (const auto& [serialNumber, field] : cases)
        EXPECT_EQ(standin::serialNumberField(serialNumber), field) << serialNumber;
}

TEST(StandInTables, UsbNames)
{
    using Devices = std::vector<standin::UsbInstrument>;
    const std::pair<Devices, std::string> cases[] = {
        {{{"M::", "S", "P1", {0}}}, "M::S::INSTR"},
        {{{"M::", "", "P1", {3}}}, "M::P1::INSTR"},
        {{{"M::", "S", "P1", {2, 10}}}, "M::S::10::INSTR M::S::2::INSTR"},
        {{{"N::", "S", "P1", {0}}, {"M::", "S", "P2", {0}}}, "M::S::INSTR N::S::INSTR"},
        {{{"M::", "S", "P1", {0}}, {"M::", "S", "P2", {0}}}, "M::S-P1::INSTR M::S-P2::INSTR"},
        {{{"M::", "S-P2", "P1", {0}}, {"M::", "S", "P2", {0}}, {"M::", "S", "P3", {0}}},
         "M::S-P2-P2::INSTR M::S-P2::INSTR M::S-P3::INSTR"},
    };
    for (const auto& [devices, expected] : cases)
    {
        QStringList names;
        for (const std::string& name : standin::usbResourceNames(devices))
            names << QString::fromStdString(name);
        EXPECT_EQ(names.join(' ').toStdString(), expected);
    }
}

TEST(StandIn, BearsEightThreadsThatCloseWhatOthersUse)
{
    std::vector<std::thread> threads(8);
    for (std::thread& thread : threads)
        thread = std::thread(useEverything);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(viClose(shared), VI_SUCCESS);
}
