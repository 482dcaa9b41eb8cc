// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Runs on the stand-in libkyvisa.so itself.

#include "StandInAnswers.h"
#include "World.h"
#include "stand-in/ResourceExpression.h"
#include "stand-in/ResourceName.h"
#include "stand-in/UsbInstruments.h"
#include "visa/visa.h"

#include <QRegularExpression>

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <thread>

#include <gtest/gtest.h>

namespace
{

using namespace standin;
using Text = std::array<ViChar, VI_FIND_BUFLEN>;

/// Makes a VISA call. The first word is its name without "vi". Returns the status and each result that is neither 0 nor
/// empty. "-" as a name is a null pointer; as the last word it makes the pointers to the results null.
std::vector<std::string> visaCall(const QStringList& words)
{
    const ViObject object = words.value(1).toUInt();
    const QByteArray word = words.value(2).toLatin1();
    const char* name = word == "-" ? nullptr : word.data();
    const ViUInt32 code = word.toUInt(nullptr, 16);
    ViObject opened = words[0] == "Open" ? object : VI_NULL; // to be overwritten
    ViUInt32 number = 0;
    std::array<ViUInt16, 2> interface = {};
    ViUInt16 *type = interface.data(), *board = &interface[1];
    std::array<Text, 3> text = {};
    const bool hasPlaces = words.last() != "-";
    ViUInt32 *handle = hasPlaces ? &opened : nullptr, *count = hasPlaces ? &number : nullptr;
    ViChar* last = hasPlaces ? text[2].data() : nullptr;
    const std::map<QString, std::function<ViStatus()>> calls = {
        {"OpenDefaultRM", [&] { return viOpenDefaultRM(handle); }},
        {"SetAttribute", [&] { return viSetAttribute(object, code, words.value(3).toULongLong()); }},
        {"GetNumber", [&] { return viGetAttribute(object, code, count); }},
        {"GetText", [&] { return viGetAttribute(object, code, last); }},
        {"FindRsrc", [&] { return viFindRsrc(object, name, handle, count, last); }},
        {"FindNext", [&] { return viFindNext(object, last); }},
        {"ParseRsrc", [&] { return viParseRsrc(object, name, type, board); }},
        {"ParseRsrcEx", [&] { return viParseRsrcEx(object, name, type, board, text[0].data(), text[1].data(), last); }},
        {"Open", [&] { return viOpen(object, name, 0, 0, handle); }},
        {"StatusDesc", [&] { return viStatusDesc(object, static_cast<ViStatus>(code), last); }},
        {"Close", [&] { return viClose(object); }},
    };
    const auto status = static_cast<std::uint32_t>(calls.at(words[0])());
    std::vector<std::string> results = {QString::number(status, 16).toUpper().toStdString()};
    for (const std::uint32_t each : {opened, number, std::uint32_t{interface[0]}, std::uint32_t{interface[1]}})
        results.push_back(each == 0 ? "" : std::to_string(each));
    results.insert(results.end(), {text[0].data(), text[1].data(), text[2].data()});
    return results;
}

/// What a function returns for the last word, "conf" and the lines of a new visa.conf, or a VISA call.
std::vector<std::string> answer(const QStringList& words)
{
    const std::string first = words.value(1).toStdString(), last = words.last().toLatin1().toStdString();
    const std::map<QString, std::function<std::string()>> functions = {
        {"Matches", [&] { return ResourceExpression(first).matches(last) ? last : ""; }},
        {"Expand", [&] { return parseResourceName(last).value_or(ParsedResource()).expandedName; }},
        {"SerialNumber", [&] { return serialNumberField(last); }},
        {"conf", [&] { return writeConfiguration(last), ""; }},
    };
    const auto function = functions.find(words[0]);
    return function == functions.end() ? visaCall(words) : std::vector{function->second()};
}

QByteArray decoded(const QString& text)
{
    const QByteArray once = QByteArray::fromPercentEncoding(text.section('@', 0, 0).toLatin1());
    return once + once.right(1).repeated(text.section('@', 1).toInt() - 1);
}

} // namespace

void expectAnswers(const std::string& file, std::vector<std::string> (*answer)(const QStringList& call))
{
    const QString lines = QString::fromStdString(readFile(file));
    ASSERT_FALSE(lines.isEmpty()) << file;
    for (const QString& line : lines.split('\n').filter(QRegularExpression("^[^#]")))
    {
        const QString call = line.section(" ->", 0, 0);
        const QString choices = call.split(' ').filter(";").value(0);
        std::string answers;
        for (const QString& choice : choices.split(';'))
        {
            QStringList words = QString(call).replace(choices, choice).split(' ');
            for (QString& word : words)
                word = QString::fromLatin1(decoded(word));
            for (const std::string& each : answer(words))
                answers += (answers.empty() || each.empty() ? "" : " ") + each;
        }
        EXPECT_EQ(answers, decoded(line.section("->", 1).trimmed()).toStdString()) << line.toStdString();
    }
}

TEST(StandIn, AnswersCalls)
{
    expectAnswers(std::getenv("CALLS"), answer);
}

TEST(StandIn, TracesWhatASearchAsks)
{
    qputenv("KYVISA_STAND_IN_TRACE", "1");
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=none");
    ViSession session = VI_NULL;
    Text name = {};
    viOpenDefaultRM(&session);
    testing::internal::CaptureStderr();
    viFindRsrc(session, "ASRL?*|TCPIP?*", nullptr, nullptr, name.data());
    QString trace = QString::fromStdString(testing::internal::GetCapturedStderr());
    EXPECT_EQ(trace.replace(QRegularExpression("\\d+ ms"), "N ms").toStdString(),
              "kyvisa: serial port ASRL1::INSTR: /dev/ttyACM0\n"
              "kyvisa: serial port ASRL2::INSTR: /dev/ttyUSB10\n"
              "kyvisa: serial port ASRL3::INSTR: /dev/ttyUSB9\n"
              "kyvisa: serial port ASRL4::INSTR: /dev/ttyS0\n"
              "kyvisa: serial port ttyS1: skipped, the kernel knows no hardware behind it\n"
              "kyvisa: serial port ptmx: skipped, the kernel knows no hardware behind it\n"
              "kyvisa: serial ports: found 4 in N ms\n"
              "kyvisa: USB instruments: skipped, no name that begins with USB0:: is asked for\n"
              "kyvisa: LAN instruments: none in N ms: the system bus: No such file or directory\n");
}

TEST(StandIn, BearsEightThreadsThatUseWhatOthersChange)
{
    std::atomic<ViSession> shared = VI_NULL; // relaxed, so that only the library orders the threads
    const auto useEverything = [&] {
        for (int round = 0; round < 25; ++round)
        {
            ViObject session = VI_NULL, list = VI_NULL;
            ViUInt32 provider = 0;
            Text text = {};
            viOpenDefaultRM(&session);
            viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 20);
            // From now on another thread may close the session.
            const ViSession previous = shared.exchange(session, std::memory_order_relaxed);
            viFindRsrc(session, "?*", &list, nullptr, text.data());
            for (int use = 0; use < 20; ++use)
            {
                viGetAttribute(shared.load(std::memory_order_relaxed), VI_ATTR_RSRC_MANF_ID, &provider);
                viSetAttribute(shared.load(std::memory_order_relaxed), KYVISA_ATTR_SEARCH_TIME, 20);
            }
            while (viFindNext(list, text.data()) == VI_SUCCESS)
                viParseRsrcEx(session, text.data(), nullptr, nullptr, nullptr, text.data(), nullptr);
            std::this_thread::yield(); // an unlocked read of the lists would meet others that close theirs
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
    EXPECT_EQ(viClose(shared), VI_SUCCESS);
}
