// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Configuration.h"
#include "NetworkInstruments.h"
#include "Objects.h"
#include "ResourceExpression.h"
#include "ResourceName.h"
#include "SerialPorts.h"
#include "Statuses.h"
#include "Trace.h"
#include "UsbInstruments.h"
#include "visa/visa.h"

#include <chrono>
#include <cstring>
#include <limits>
#include <new>

namespace standin
{

namespace
{

constexpr const char* manufacturer = "Kyvane & Yollet";
constexpr ViAttrState allNetworkSearches = 7;
constexpr std::size_t longestExpression = 4096;

/// Runs a call and turns exceptions into statuses, because the client may be written in C.
template <typename Call>
ViStatus guarded(Call call) noexcept
{
    try
    {
        return call(Objects::instance());
    }
    catch (const std::bad_alloc&)
    {
        return VI_ERROR_ALLOC;
    }
    catch (...)
    {
        return VI_ERROR_SYSTEM_ERROR;
    }
}

template <typename Value>
void write(Value* place, Value value)
{
    if (place != nullptr)
        *place = value;
}

void writeText(ViChar* place, const std::string& text)
{
    if (place != nullptr)
        place[text.copy(place, VI_FIND_BUFLEN - 1)] = '\0';
}

/// Returns what the sources find and the expression matches. Skips a source that fails or whose names cannot match.
std::vector<std::string> findResources(const ResourceExpression& expression, const SearchSettings& settings)
{
    std::vector<std::string> resources;
    const auto ask = [&](const char* kind, const char* beginning, const auto& source) {
        const auto spent = [start = std::chrono::steady_clock::now()] {
            return (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
        };
        if (!expression.mayMatchAfter(beginning))
            return trace(kind, ": skipped, no name that begins with ", beginning, " is asked for");
        try
        {
            const std::size_t before = resources.size();
            for (const std::string& name : source())
            {
                // The name is incomplete if the device was just unplugged.
                const std::optional<ParsedResource> parsed = parseResourceName(name);
                const bool isAsked = parsed && expression.matches(parsed->expandedName);
                trace(name, isAsked ? ": found" : ": skipped, not asked for or incomplete");
                if (isAsked)
                    resources.push_back(parsed->expandedName);
            }
            trace(kind, ": found ", resources.size() - before, " in ", spent(), " ms");
        }
        catch (const std::exception& error)
        {
            trace(kind, ": none in ", spent(), " ms: ", error.what());
        }
    };
    ask("serial ports", "ASRL", serialPortResources);
    ask("USB instruments", "USB0::", usbInstrumentResources);
    ask("LAN instruments", "TCPIP0::", [&] { return networkInstrumentResources(settings); });
    return resources;
}

} // namespace

} // namespace standin

using namespace standin;

ViStatus viOpenDefaultRM(ViSession* resourceManager)
{
    return guarded([&](Objects& objects) {
        if (resourceManager == nullptr)
            return VI_ERROR_USER_BUF;
        *resourceManager = objects.openSession();
        return VI_SUCCESS;
    });
}

ViStatus viSetAttribute(ViObject object, ViAttr attribute, ViAttrState value)
{
    return guarded([&](Objects& objects) {
        if (!objects.settings(object))
            return objects.isList(object) ? VI_ERROR_NSUP_ATTR : VI_ERROR_INV_OBJECT;
        if (attribute == VI_ATTR_RSRC_MANF_ID || attribute == VI_ATTR_RSRC_MANF_NAME)
            return VI_ERROR_ATTR_READONLY;
        if (attribute != KYVISA_ATTR_NETWORK_SEARCHES && attribute != KYVISA_ATTR_SEARCH_TIME)
            return VI_ERROR_NSUP_ATTR;
        const bool isTime = attribute == KYVISA_ATTR_SEARCH_TIME;
        if (value > (isTime ? std::numeric_limits<ViUInt32>::max() : allNetworkSearches))
            return VI_ERROR_NSUP_ATTR_STATE;
        const auto setting = isTime ? &SearchSettings::milliseconds : &SearchSettings::networkSearches;
        return objects.setSetting(object, setting, static_cast<ViUInt32>(value)) ? VI_SUCCESS : VI_ERROR_INV_OBJECT;
    });
}

ViStatus viGetAttribute(ViObject object, ViAttr attribute, void* value)
{
    return guarded([&](Objects& objects) {
        const std::optional<SearchSettings> settings = objects.settings(object);
        if (!settings)
            return objects.isList(object) ? VI_ERROR_NSUP_ATTR : VI_ERROR_INV_OBJECT;
        if (value == nullptr)
            return VI_ERROR_USER_BUF;
        switch (attribute)
        {
        case VI_ATTR_RSRC_MANF_ID:
            *static_cast<ViUInt16*>(value) = provider();
            return VI_SUCCESS;
        case VI_ATTR_RSRC_MANF_NAME:
            writeText(static_cast<ViChar*>(value), manufacturer);
            return VI_SUCCESS;
        case KYVISA_ATTR_NETWORK_SEARCHES:
            *static_cast<ViUInt32*>(value) = settings->networkSearches;
            return VI_SUCCESS;
        case KYVISA_ATTR_SEARCH_TIME:
            *static_cast<ViUInt32*>(value) = settings->milliseconds;
            return VI_SUCCESS;
        default:
            return VI_ERROR_NSUP_ATTR;
        }
    });
}

ViStatus viFindRsrc(ViSession resourceManager, ViConstString expression, ViFindList* list, ViUInt32* count,
                    ViChar* description)
{
    return guarded([&](Objects& objects) {
        const std::optional<SearchSettings> settings = objects.settings(resourceManager);
        if (!settings)
            return VI_ERROR_INV_OBJECT;
        if (expression == nullptr || std::strlen(expression) > longestExpression)
            return VI_ERROR_INV_EXPR;
        const ResourceExpression wanted(expression);
        if (!wanted.isValid())
            return VI_ERROR_INV_EXPR;

        std::vector<std::string> resources = findResources(wanted, *settings);
        write(count, static_cast<ViUInt32>(resources.size()));
        if (resources.empty())
            return VI_ERROR_RSRC_NFOUND;
        writeText(description, resources.front());
        // Without a handle, nobody could close the list.
        if (list == nullptr)
            return VI_SUCCESS;
        resources.erase(resources.begin());
        const std::optional<ViFindList> opened = objects.openList(resourceManager, std::move(resources));
        *list = opened.value_or(VI_NULL);
        return opened ? VI_SUCCESS : VI_ERROR_INV_OBJECT;
    });
}

ViStatus viFindNext(ViFindList list, ViChar* description)
{
    return guarded([&](Objects& objects) {
        const std::optional<std::string> resource = objects.next(list);
        if (!resource)
            return objects.isList(list) ? VI_ERROR_RSRC_NFOUND : VI_ERROR_INV_OBJECT;
        writeText(description, *resource);
        return VI_SUCCESS;
    });
}

ViStatus viParseRsrc(ViSession resourceManager, ViConstString name, ViUInt16* interfaceType, ViUInt16* interfaceNumber)
{
    return viParseRsrcEx(resourceManager, name, interfaceType, interfaceNumber, nullptr, nullptr, nullptr);
}

ViStatus viParseRsrcEx(ViSession resourceManager, ViConstString name, ViUInt16* interfaceType,
                       ViUInt16* interfaceNumber, ViChar* resourceClass, ViChar* expandedName, ViChar* alias)
{
    return guarded([&](Objects& objects) {
        if (!objects.settings(resourceManager))
            return VI_ERROR_INV_OBJECT;
        if (name == nullptr)
            return VI_ERROR_INV_RSRC_NAME;
        std::string knownAlias;
        const std::optional<ParsedResource> parsed =
            parseResourceName(resourceOf(name, alias == nullptr ? nullptr : &knownAlias));
        if (!parsed)
            return VI_ERROR_INV_RSRC_NAME;
        write(interfaceType, parsed->interfaceType);
        write(interfaceNumber, parsed->interfaceNumber);
        writeText(resourceClass, parsed->resourceClass);
        writeText(expandedName, parsed->expandedName);
        writeText(alias, knownAlias);
        return VI_SUCCESS;
    });
}

ViStatus viOpen(ViSession resourceManager, ViConstString /*name*/, ViUInt32 /*accessMode*/, ViUInt32 /*timeout*/,
                ViSession* session)
{
    return guarded([&](Objects& objects) {
        write(session, VI_NULL);
        return objects.settings(resourceManager) ? VI_ERROR_NSUP_OPER : VI_ERROR_INV_OBJECT;
    });
}

ViStatus viStatusDesc(ViObject object, ViStatus status, ViChar* description)
{
    return guarded([&](Objects& objects) {
        // After a failed open, a program has no object to pass.
        if (object != VI_NULL && !objects.settings(object) && !objects.isList(object))
            return VI_ERROR_INV_OBJECT;
        const char* words = statusDescription(status);
        writeText(description, words == nullptr ? "Unknown status." : words);
        return words == nullptr ? VI_WARN_UNKNOWN_STATUS : VI_SUCCESS;
    });
}

ViStatus viClose(ViObject object)
{
    return guarded([&](Objects& objects) {
        if (object == VI_NULL)
            return VI_WARN_NULL_OBJECT;
        return objects.close(object) ? VI_SUCCESS : VI_ERROR_INV_OBJECT;
    });
}
