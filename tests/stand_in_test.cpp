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

/// Makes a VISA call, which is written as its name without "vi" and its arguments. Returns the status and each result
/// that is neither 0 nor empty. "-" is a null pointer; the last one stands for the places of the results.
std::string visaCall(const QStringList& words)
{
    const ViObject object = words.value(1).toUInt();
    const QByteArray word = words.value(2).toLatin1();
    const char* name = word == "-" ? nullptr : word.data();
    const ViUInt32 code = word.toUInt(nullptr, 16);
    ViObject opened = VI_NULL;
    ViUInt32 number = 0;
    std::array<ViUInt16, 2> interface = {};
    std::array<Text, 3> texts = {};
    const bool hasPlaces = words.last() != "-";
    ViObject* handle = hasPlaces ? &opened : nullptr;
    ViUInt32* count = hasPlaces ? &number : nullptr;
    ViChar* text = hasPlaces ? texts[2].data() : nullptr;
    const std::map<QString, std::function<ViStatus()>> calls = {
        {"OpenDefaultRM", [&] { return viOpenDefaultRM(handle); }},
        {"SetAttribute", [&] { return viSetAttribute(object, code, words.value(3).toULongLong()); }},
        {"GetNumber", [&] { return viGetAttribute(object, code, count); }},
        {"GetText", [&] { return viGetAttribute(object, code, text); }},
        {"FindRsrc", [&] { return viFindRsrc(object, name, handle, count, text); }},
        {"FindNext", [&] { return viFindNext(object, text); }},
        {"ParseRsrc", [&] { return viParseRsrc(object, name, &interface[0], &interface[1]); }},
        {"ParseRsrcEx",
         [&] {
             return viParseRsrcEx(object, name, &interface[0], &interface[1], texts[0].data(), texts[1].data(), text);
         }},
        {"Open", [&] { return viOpen(object, name, 0, 0, handle); }},
        {"StatusDesc", [&] { return viStatusDesc(object, static_cast<ViStatus>(code), text); }},
        {"Close", [&] { return viClose(object); }},
    };
    const auto status = static_cast<std::uint32_t>(calls.at(words[0])());
    std::vector<std::string> results = {QString::number(status, 16).toUpper().toStdString()};
    for (const std::uint32_t each : {opened, number, std::uint32_t{interface[0]}, std::uint32_t{interface[1]}})
        results.push_back(each == 0 ? "" : std::to_string(each));
    results.insert(results.end(), {texts[0].data(), texts[1].data(), texts[2].data()});
    return joined(results);
}

/// What a function returns for each word after its name, "conf" and the lines of a new visa.conf, or a VISA call.
std::string answer(const QStringList& words)
{
    const std::string first = words.value(1).toStdString();
    const std::map<QString, std::function<std::string(const std::string&)>> functions = {
        {"Matches", [&](const auto& word) { return ResourceExpression(first).matches(word) ? word : ""; }},
        {"Statuses",
         [&](const auto& call) {
             return visaCall({call.c_str(), words[1], "0F9C0002"}).substr(0, 8);
         }},
        {"Valid", [](const auto& word) { return ResourceExpression(word).isValid() ? word : ""; }},
        {"Expand", [](const auto& word) { return parseResourceName(word).value_or(ParsedResource()).expandedName; }},
        {"SerialNumber", serialNumberField},
        {"conf", [](const auto& lines) { return writeConfiguration(lines), ""; }},
    };
    const auto function = functions.find(words[0]);
    if (function == functions.end())
        return visaCall(words);
    std::vector<std::string> results;
    for (const QString& word : words.mid(words[0] == "Matches" || words[0] == "Statuses" ? 2 : 1))
        results.push_back(function->second(word.toLatin1().toStdString()));
    return joined(results);
}

QString decoded(QString text)
{
    static const QRegularExpression repeated("@(\\d+)(.)");
    for (QRegularExpressionMatch found; (found = repeated.match(text)).hasMatch();)
        text.replace(found.capturedStart(), found.capturedLength(),
                     found.captured(2).repeated(found.captured(1).toInt()));
    return QString::fromLatin1(QByteArray::fromPercentEncoding(text.toLatin1()));
}

} // namespace

void expectAnswers(const std::string& file, std::string (*answer)(const QStringList& call))
{
    const QString lines = QString::fromStdString(readFile(file));
    ASSERT_FALSE(lines.isEmpty()) << file;
    for (const QString& line : lines.split('\n').filter(QRegularExpression("^[^#]")))
    {
        const QString expected = line.section("->", 1).trimmed();
        QStringList words = line.section(" ->", 0, 0).split(' ');
        for (QString& word : words)
            word = decoded(word);
        EXPECT_EQ(answer(words), decoded(expected).toLatin1().toStdString()) << line.toStdString();
    }
}

std::string joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() || text.empty() ? "" : " ") + text;
    return all;
}

TEST(StandIn, AnswersCalls)
{
    expectAnswers(std::getenv("CALLS"), answer);
}

TEST(StandIn, BearsEightThreadsThatCloseWhatOthersUse)
{
    std::atomic<ViSession> shared = VI_NULL;
    const auto useEverything = [&] {
        for (int round = 0; round < 25; ++round)
        {
            ViSession session = VI_NULL;
            ViFindList list = VI_NULL;
            Text text = {};
            viOpenDefaultRM(&session);
            viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 20);
            const ViSession previous = shared.exchange(session); // another thread may close the new one at any time
            viFindRsrc(session, "?*", &list, nullptr, text.data());
            while (viFindNext(list, text.data()) == VI_SUCCESS)
                viParseRsrcEx(session, text.data(), nullptr, nullptr, nullptr, text.data(), nullptr);
            viGetAttribute(session, VI_ATTR_RSRC_MANF_NAME, text.data());
            viClose(list);
            EXPECT_EQ(viClose(previous), previous == VI_NULL ? VI_WARN_NULL_OBJECT : VI_SUCCESS);
        }
    };
    std::vector<std::thread> threads(8);
    for (std::thread& thread : threads)
        thread = std::thread(useEverything);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(viClose(shared), VI_SUCCESS);
}
