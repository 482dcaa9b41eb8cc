// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Runs on the stand-in libkyvisa.so itself.

#include "World.h"
#include "stand-in/NetworkServices.h"
#include "stand-in/ResourceExpression.h"
#include "stand-in/ResourceName.h"
#include "stand-in/UsbInstruments.h"
#include "visa/visa.h"

#include <QByteArrayList>
#include <QStringList>

#include <array>
#include <atomic>
#include <functional>
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

std::string parse(const std::string& name)
{
    const std::optional<standin::ParsedResource> parsed = standin::parseResourceName(name);
    return parsed ? std::to_string(parsed->interfaceType) + " " + std::to_string(parsed->interfaceNumber) + " " +
                        parsed->resourceClass + " " + parsed->expandedName
                  : "-";
}

using Names = std::vector<std::string>;

Names usbNames(const std::vector<QStringList>& rows)
{
    std::vector<standin::UsbInstrument> instruments;
    for (const QStringList& row : rows)
    {
        instruments.push_back({row[0].toStdString(), row[1].toStdString(), row[2].toStdString(), {}});
        for (const QString& number : row[3].split('+'))
            instruments.back().interfaces.insert(number.toULong());
    }
    return standin::usbResourceNames(instruments);
}

Names serviceNames(const std::vector<QStringList>& rows)
{
    standin::NetworkServices services;
    for (const QStringList& row : rows)
    {
        const standin::Announcement announcement = {row[1].toInt(), row[2].toInt(), row[3].toStdString(),
                                                    row[4].toStdString(), "local"};
        if (row[0] == "+")
            services.add(announcement, {row[5] == "1", row[6].toStdString(), row[7].toStdString(), row[8].toUShort()});
        else
            services.remove(announcement);
    }
    return services.resources();
}

/// What a pure function returns for each of the words behind its name, or for all of them. "%" begins a byte in hex.
std::string tableRow(const std::string& line)
{
    Names words;
    std::vector<QStringList> rows;
    for (const QByteArray& word : QByteArray::fromStdString(line).split(' '))
    {
        words.push_back(QByteArray::fromPercentEncoding(word).toStdString());
        rows.push_back(QString(word).split('/'));
    }
    const std::string function = words[0];
    rows.erase(rows.begin());
    words.erase(words.begin());
    Names results = function == "UsbNames" ? usbNames(rows) : function == "Services" ? serviceNames(rows) : Names();
    for (const std::string& word : words)
    {
        if (function == "Matches" && word.data() != words[0].data() &&
            standin::ResourceExpression(words[0]).matches(word))
            results.push_back(word);
        if (function == "IsExpression")
            results.push_back(std::to_string(standin::ResourceExpression(word).isValid()));
        if (function == "Parse" || function == "SerialNumber")
            results.push_back(function == "Parse" ? parse(word) : standin::serialNumberField(word));
    }
    QByteArrayList texts;
    for (const std::string& result : results)
        texts << QByteArray::fromStdString(result).toPercentEncoding("!\"#$&'()*+,/:;<=>?@[\\]^`{|} ");
    return texts.join(' ').toStdString();
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

/// Each line of a file is a call and, behind "->", its answer, or "conf" and lines of visa.conf with "; " between them.
void expectAnswers(const char* file, std::string (*answers)(const std::string& call))
{
    const std::string expected = readFile(file);
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
            line = call + " -> " + answers(call);
        }
        transcript += line + "\n";
    }
    EXPECT_EQ(transcript, expected);
}

} // namespace

TEST(StandIn, AnswersCalls)
{
    expectAnswers(std::getenv("CALLS"), answer);
}

TEST(StandIn, AgreesWithItsTables)
{
    expectAnswers(TABLES, tableRow);
    EXPECT_EQ(standin::serialNumberField(std::string(129, 'x')), std::string(128, 'x'));
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

TEST(StandIn, BearsEightThreadsThatCloseWhatOthersUse)
{
    std::vector<std::thread> threads(8);
    for (std::thread& thread : threads)
        thread = std::thread(useEverything);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(viClose(shared), VI_SUCCESS);
}
