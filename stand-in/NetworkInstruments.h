// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Objects.h"

#include <string>
#include <vector>

namespace standin
{

/// Returns the resource strings of the LAN instruments that the system's Avahi daemon knows: VXI-11, HiSLIP and raw
/// SCPI sockets, sorted, each once, with an IPv4 address if it has one. Sends nothing into the network.
///
/// Returns when all answers have arrived, but after settings.milliseconds at the latest. The result is empty without a
/// daemon. Throws std::exception without a bus, in a build without sd-bus, and if a setting is 0. Any thread may call.
[[nodiscard]] std::vector<std::string> networkInstrumentResources(const SearchSettings& settings);

} // namespace standin
