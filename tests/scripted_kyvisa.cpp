// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// A libkyvisa.so that does what a script says. Each call adds a line to the file "log" of the working directory, and
// viOpenDefaultRM reads the words of the file "script" there anew:
//   NAME               there is such a resource; "ASRL?*" finds those that begin with ASRL, "?*" finds all
//   open=STATUS        what viOpenDefaultRM returns; it provides no session where that is not 0
//   find=STATUS        what viFindRsrc returns where it finds anything
//   count=NUMBER       how many it says that it found
//   nextNUMBER=STATUS  what the viFindNext of that number, from 1, returns; it then writes no description
//   gate=SECONDS       viFindRsrc waits for a file "gate" in the working directory, for so long at most

#include "visa/visa.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

namespace
{

constexpr ViObject session = 1;
constexpr ViObject list = 2;

std::mutex mutex;
std::string script; // a blank and the words
thread_local std::vector<std::string> found;
thread_local std::size_t lastAsked = 0;

/// Adds a line to the log. The caller is the only one in the library for as long as it keeps the lock.
template <typename... Words>
std::unique_lock<std::mutex> logged(const Words&... words)
{
    std::unique_lock lock(mutex);
    std::ofstream log("log", std::ios::app);
    (log << ... << words) << std::endl;
    return lock;
}

int number(const std::string& key, std::size_t fallback = VI_SUCCESS)
{
    const std::size_t at = script.find(' ' + key + '=');
    return at == std::string::npos ? static_cast<int>(fallback) : std::stoi(script.substr(at + key.size() + 2));
}

} // namespace

ViStatus viOpenDefaultRM(ViSession* resourceManager)
{
    const auto lock = logged("viOpenDefaultRM");
    std::ifstream words("script");
    script = ' ' + std::string(std::istreambuf_iterator<char>(words), {});
    if (number("open") == VI_SUCCESS)
        *resourceManager = session;
    return number("open");
}

ViStatus viSetAttribute(ViObject object, ViAttr attribute, ViAttrState value)
{
    const auto lock = logged("viSetAttribute ", object, std::hex, " 0x", attribute, std::dec, ' ', value);
    return VI_ERROR_NSUP_ATTR;
}

ViStatus viFindRsrc(ViSession object, ViConstString expression, ViFindList* findList, ViUInt32* count, ViChar* name)
{
    const auto lock = logged("viFindRsrc ", object, ' ', expression);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(number("gate"));
    while (!std::filesystem::exists("gate") && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    found.clear();
    lastAsked = 0;
    const std::size_t literal = std::strcspn(expression, "?");
    std::istringstream words(script);
    for (std::string word; words >> word;)
    {
        if (word.find('=') == std::string::npos && word.compare(0, literal, expression, literal) == 0)
            found.push_back(word);
    }
    *count = static_cast<ViUInt32>(number("count", found.size()));
    if (found.empty())
        return VI_ERROR_RSRC_NFOUND;
    *findList = list;
    std::strcpy(name, found.front().c_str());
    return number("find");
}

ViStatus viFindNext(ViFindList findList, ViChar* name)
{
    const auto lock = logged("viFindNext ", findList);
    if (++lastAsked >= found.size())
        return VI_ERROR_RSRC_NFOUND;
    const ViStatus status = number("next" + std::to_string(lastAsked));
    if (status == VI_SUCCESS)
        std::strcpy(name, found[lastAsked].c_str());
    return status;
}

ViStatus viParseRsrc(ViSession object, ViConstString name, ViUInt16* interfaceType, ViUInt16* interfaceNumber)
{
    const auto lock = logged("viParseRsrc ", object, ' ', name);
    *interfaceType = VI_INTF_ASRL;
    *interfaceNumber = static_cast<ViUInt16>(std::stoi(name + std::strlen("ASRL")));
    return VI_SUCCESS;
}

ViStatus viClose(ViObject object)
{
    const auto lock = logged("viClose ", object);
    return VI_SUCCESS;
}
