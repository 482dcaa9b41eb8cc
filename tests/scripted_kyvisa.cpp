// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// A libkyvisa.so that does what the words of the file "script" in the working directory say. Most calls add a line to
// the file "log" there.
//   NAME               there is such a resource; "ASRL?*" finds those that begin with ASRL, "?*" finds all
//   find=STATUS        what viFindRsrc returns where it finds anything
//   count=NUMBER       how many it says that it found
//   nextNUMBER=STATUS  what the viFindNext of that number, from 1, returns; it then writes no description
//   gate               viFindRsrc waits for a file "gate" in the working directory, for 30 s at most

#include "visa/visa.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

namespace
{

thread_local std::vector<std::string> found;
thread_local std::size_t lastAsked = 0;

template <typename... Words>
void log(const Words&... words)
{
    std::ostringstream line;
    (line << ... << words) << '\n';
    std::ofstream("log", std::ios::app) << line.str();
}

/// The words of the script that begin so, without that beginning.
std::vector<std::string> script(const std::string& beginning)
{
    std::vector<std::string> rests;
    std::ifstream words("script");
    for (std::string word; words >> word;)
    {
        if (word.rfind(beginning, 0) == 0)
            rests.push_back(word.substr(beginning.size()));
    }
    return rests;
}

int number(const std::string& key, std::size_t otherwise = VI_SUCCESS)
{
    const auto numbers = script(key + '=');
    return numbers.empty() ? static_cast<int>(otherwise) : std::stoi(numbers.front());
}

} // namespace

ViStatus viOpenDefaultRM(ViSession* resourceManager)
{
    log("viOpenDefaultRM");
    *resourceManager = 1;
    return VI_SUCCESS;
}

ViStatus viSetAttribute(ViObject object, ViAttr attribute, ViAttrState value)
{
    log("viSetAttribute ", object, std::hex, " 0x", attribute, std::dec, ' ', value);
    return VI_ERROR_NSUP_ATTR;
}

ViStatus viFindRsrc(ViSession, ViConstString expression, ViFindList* findList, ViUInt32* count, ViChar* name)
{
    log("viFindRsrc");
    for (int wait = 0; wait < 3000 && !script("gate").empty() && !std::filesystem::exists("gate"); ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    lastAsked = 0;
    found.clear();
    const std::string beginning(expression, std::strcspn(expression, "?"));
    for (const std::string& rest : script(beginning))
    {
        if (rest.find('=') == std::string::npos && rest != "gate")
            found.push_back(beginning + rest);
    }
    *count = static_cast<ViUInt32>(number("count", found.size()));
    if (found.empty())
        return VI_ERROR_RSRC_NFOUND;
    *findList = 2;
    std::strcpy(name, found.front().c_str());
    return number("find");
}

ViStatus viFindNext(ViFindList, ViChar* name)
{
    log("viFindNext");
    if (++lastAsked >= found.size())
        return VI_ERROR_RSRC_NFOUND;
    const ViStatus status = number("next" + std::to_string(lastAsked));
    if (status == VI_SUCCESS)
        std::strcpy(name, found[lastAsked].c_str());
    return status;
}

ViStatus viParseRsrc(ViSession, ViConstString name, ViUInt16* interfaceType, ViUInt16* interfaceNumber)
{
    *interfaceType = VI_INTF_ASRL;
    *interfaceNumber = static_cast<ViUInt16>(std::stoi(name + std::strlen("ASRL")));
    return VI_SUCCESS;
}

ViStatus viClose(ViObject object)
{
    log("viClose ", object);
    return VI_SUCCESS;
}
