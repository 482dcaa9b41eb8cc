// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Runs on the stand-in libkyvisa.so itself.

#include "World.h"
#include "visa/visa.h"

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

std::atomic<ViSession> shared = VI_NULL;

void useEverything()
{
    for (int round = 0; round < 50; ++round)
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

/// Each line of the file is a call, or "conf" and lines of visa.conf with "; " between them; one that begins with "= "
/// is what the call before it has to give.
TEST(StandIn, AnswersCalls)
{
    const std::string expected = readFile(std::getenv("CALLS"));
    std::istringstream lines(expected);
    std::string transcript;
    for (std::string line; std::getline(lines, line);)
    {
        if (line.rfind("= ", 0) == 0)
            continue;
        transcript += line + "\n";
        if (line.rfind("conf ", 0) == 0)
            writeConfiguration(QString::fromStdString(line.substr(5)).replace("; ", "\n").toStdString());
        else if (!line.empty() && line.front() != '#')
            transcript += "= " + answer(line) + "\n";
    }
    EXPECT_EQ(transcript, expected);
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
