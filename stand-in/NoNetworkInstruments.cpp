// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Replaces NetworkInstruments.cpp in a build without sd-bus.

#include "NetworkInstruments.h"

#include <stdexcept>

namespace standin
{

std::vector<std::string> networkInstrumentResources(const SearchSettings& /*settings*/)
{
    throw std::runtime_error("the library was built without sd-bus");
}

} // namespace standin
