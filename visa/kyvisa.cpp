// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "LocalResources.h"
#include "ResourceExpression.h"
#include "ResourceName.h"
#include "visa.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <variant>

namespace
{

struct ResourceManager
{
};

struct FindList
{
    ViSession owner;
    std::vector<std::string> resources;
    std::size_t next;
};

/// Every open session and find list of the process, by handle. Handles are never given twice.
struct Objects
{
    std::mutex mutex;
    std::map<ViObject, std::variant<ResourceManager, FindList>> open;
    ViObject lastHandle = VI_NULL;

    static Objects& instance()
    {
        // Never destroyed: a thread of the client may still call while the process exits.
        static auto* objects = new Objects;
        return *objects;
    }

    /// Null where the handle is not that of an open `Object`.
    template <typename Object>
    Object* find(ViObject handle)
    {
        const auto entry = open.find(handle);
        return entry == open.end() ? nullptr : std::get_if<Object>(&entry->second);
    }

    template <typename Object>
    ViObject add(Object object)
    {
        open.emplace(++lastHandle, std::move(object));
        return lastHandle;
    }
};

/// Runs a call with the objects locked; no exception may reach a client written in C.
template <typename Call>
ViStatus locked(Call call) noexcept
try
{
    Objects& objects = Objects::instance();
    const std::lock_guard lock(objects.mutex);
    return call(objects);
}

catch (...)
{
    return VI_ERROR_ALLOC;
}

void describe(const std::string& resource, ViChar* description)
{
    if (description != nullptr)
        description[resource.copy(description, VI_FIND_BUFLEN - 1)] = '\0';
}

std::vector<std::string> matchingResources(const ResourceExpression& expression)
{
    std::vector<std::string> resources;
    for (const auto& source : {serialPortResources, usbInstrumentResources})
    {
        for (std::string& resource : source())
        {
            if (resource.size() < VI_FIND_BUFLEN && expression.matches(resource))
                resources.push_back(std::move(resource));
        }
    }
    return resources;
}

} // namespace

ViStatus viOpenDefaultRM(ViSession* resourceManager)
{
    return locked([&](Objects& objects) {
        if (resourceManager == nullptr)
            return VI_ERROR_USER_BUF;
        *resourceManager = objects.add(ResourceManager{});
        return VI_SUCCESS;
    });
}

ViStatus viSetAttribute(ViObject object, ViAttr attribute, ViAttrState /*value*/)
{
    return locked([&](Objects& objects) {
        if (objects.open.count(object) == 0)
            return VI_ERROR_INV_OBJECT;
        // Both tune searches in the network, and only this machine is searched.
        const bool known = attribute == KYVISA_ATTR_SEARCH_TIME || attribute == KYVISA_ATTR_NETWORK_SEARCHES;
        return known && objects.find<ResourceManager>(object) != nullptr ? VI_SUCCESS : VI_ERROR_NSUP_ATTR;
    });
}

ViStatus viFindRsrc(ViSession resourceManager, ViConstString expression, ViFindList* list, ViUInt32* count,
                    ViChar* description)
{
    return locked([&](Objects& objects) {
        if (objects.find<ResourceManager>(resourceManager) == nullptr)
            return VI_ERROR_INV_OBJECT;
        const ResourceExpression wanted(expression == nullptr ? "(" : expression);
        if (!wanted.isValid())
            return VI_ERROR_INV_EXPR;

        std::vector<std::string> resources = matchingResources(wanted);
        if (count != nullptr)
            *count = static_cast<ViUInt32>(resources.size());
        if (resources.empty())
            return VI_ERROR_RSRC_NFOUND;
        describe(resources.front(), description);
        // Without a place for its handle nobody could close the list.
        if (list != nullptr)
            *list = objects.add(FindList{resourceManager, std::move(resources), 1});
        return VI_SUCCESS;
    });
}

ViStatus viFindNext(ViFindList list, ViChar* description)
{
    return locked([&](Objects& objects) {
        auto* found = objects.find<FindList>(list);
        if (found == nullptr)
            return VI_ERROR_INV_OBJECT;
        if (found->next == found->resources.size())
            return VI_ERROR_RSRC_NFOUND;
        describe(found->resources[found->next++], description);
        return VI_SUCCESS;
    });
}

ViStatus viParseRsrc(ViSession resourceManager, ViConstString name, ViUInt16* interfaceType, ViUInt16* interfaceNumber)
{
    return locked([&](Objects& objects) {
        if (objects.find<ResourceManager>(resourceManager) == nullptr)
            return VI_ERROR_INV_OBJECT;
        const auto parsed = parseResourceName(name == nullptr ? "" : name);
        if (!parsed)
            return VI_ERROR_INV_RSRC_NAME;
        if (interfaceType != nullptr)
            *interfaceType = parsed->type;
        if (interfaceNumber != nullptr)
            *interfaceNumber = parsed->number;
        return VI_SUCCESS;
    });
}

ViStatus viClose(ViObject object)
{
    if (object == VI_NULL)
        return VI_WARN_NULL_OBJECT;
    return locked([&](Objects& objects) {
        if (objects.open.erase(object) == 0)
            return VI_ERROR_INV_OBJECT;
        for (auto entry = objects.open.begin(); entry != objects.open.end();)
        {
            const auto* list = std::get_if<FindList>(&entry->second);
            entry = list != nullptr && list->owner == object ? objects.open.erase(entry) : std::next(entry);
        }
        return VI_SUCCESS;
    });
}
