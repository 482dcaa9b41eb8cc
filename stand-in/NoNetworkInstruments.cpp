// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Replaces NetworkInstruments.cpp in a build without sd-bus.

#include "NetworkInstruments.h"

namespace standin
{

std::vector<std::string> networkInstrumentResources(const SearchSettings& /*settings*/)
{
    return {};
}

} // namespace standin
