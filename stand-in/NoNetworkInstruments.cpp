// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Built in the place of NetworkInstruments.cpp where there is no Avahi.

#include "NetworkInstruments.h"

namespace standin
{

std::vector<std::string> networkInstrumentResources(const SearchSettings& /*settings*/)
{
    return {};
}

} // namespace standin
