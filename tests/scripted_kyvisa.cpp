// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// A libkyvisa.so that does what a script says and logs its calls.
//
// $KYVISA_SCRIPT names the script, which is read anew by every viOpenDefaultRM, and $KYVISA_LOG the log, to which
// each call adds a line. The lines of the script:
//   resource NAME     there is such a resource; "ASRL?*" finds those that begin with ASRL, "?*" finds all
//   open STATUS       what viOpenDefaultRM returns; it gives no session where that is not 0
//   find STATUS       what viFindRsrc returns where it finds anything
//   count NUMBER      how many it says that it found
//   nextNUMBER STATUS what the viFindNext of that number, from 1, returns; it then gives no description
//   gate FILE         viFindRsrc waits until the file exists
//   delay NUMBER      and so many milliseconds
//   handle NUMBER     the handles given from now on follow this one

#include "visa/visa.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace
{

std::recursive_mutex mutex;
std::vector<std::string> resources;
std::map<std::string, std::string> script;
std::vector<std::string> found;
std::size_t given = 0;
ViObject lastHandle = VI_NULL;

/// A line of the log, and for its time the only call.
class Call
{
public:
    template <typename... Arguments>
    explicit Call(const Arguments&... arguments)
    {
        std::ofstream log(std::getenv("KYVISA_LOG"), std::ios::app);
        (log << ... << arguments) << std::endl;
    }

private:
    const std::lock_guard<std::recursive_mutex> m_lock{mutex};
};

int number(const std::string& key, int fallback)
{
    return script.count(key) == 0 ? fallback : std::stoi(script[key]);
}

void readScript()
{
    resources.clear();
    script.clear();
    std::ifstream lines(std::getenv("KYVISA_SCRIPT"));
    for (std::string key, value; lines >> key && std::getline(lines >> std::ws, value);)
        key == "resource" ? resources.push_back(value) : static_cast<void>(script[key] = value);
    lastHandle = static_cast<ViObject>(number("handle", static_cast<int>(lastHandle)));
}

} // namespace

ViStatus viOpenDefaultRM(ViSession* resourceManager)
{
    const std::lock_guard lock(mutex);
    readScript();
    const ViStatus status = number("open", VI_SUCCESS);
    if (status == VI_SUCCESS)
        *resourceManager = ++lastHandle;
    const Call call("viOpenDefaultRM ", *resourceManager);
    return status;
}

ViStatus viSetAttribute(ViObject object, ViAttr attribute, ViAttrState value)
{
    const Call call("viSetAttribute ", object, std::hex, std::uppercase, std::setfill('0'), " 0x", std::setw(8),
                    attribute, std::dec, ' ', value);
    return VI_ERROR_NSUP_ATTR;
}

ViStatus viFindRsrc(ViSession resourceManager, ViConstString expression, ViFindList* list, ViUInt32* count,
                    ViChar* description)
{
    const Call call("viFindRsrc ", resourceManager, ' ', expression);
    while (script.count("gate") != 0 && !std::filesystem::exists(script["gate"]))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(number("delay", 0)));
    found.clear();
    given = 0;
    for (const std::string& resource : resources)
    {
        if (resource.compare(0, std::strcspn(expression, "?"), expression, std::strcspn(expression, "?")) == 0)
            found.push_back(resource);
    }
    *count = static_cast<ViUInt32>(number("count", static_cast<int>(found.size())));
    if (found.empty())
        return VI_ERROR_RSRC_NFOUND;
    *list = ++lastHandle;
    std::strcpy(description, found.front().c_str());
    return number("find", VI_SUCCESS);
}

ViStatus viFindNext(ViFindList list, ViChar* description)
{
    const Call call("viFindNext ", list);
    if (++given >= found.size())
        return VI_ERROR_RSRC_NFOUND;
    const ViStatus status = number("next" + std::to_string(given), VI_SUCCESS);
    if (status == VI_SUCCESS)
        std::strcpy(description, found[given].c_str());
    return status;
}

ViStatus viParseRsrc(ViSession resourceManager, ViConstString name, ViUInt16* interfaceType, ViUInt16* interfaceNumber)
{
    const Call call("viParseRsrc ", resourceManager, ' ', name);
    *interfaceType = VI_INTF_ASRL;
    *interfaceNumber = static_cast<ViUInt16>(std::atoi(name + std::strlen("ASRL")));
    return VI_SUCCESS;
}

ViStatus viClose(ViObject object)
{
    const Call call("viClose ", object);
    return VI_SUCCESS;
}
