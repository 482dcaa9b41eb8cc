// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Objects.h"

#include <string>
#include <vector>

namespace standin
{

/// The LAN instruments that announce themselves by DNS-SD, as the system's Avahi daemon knows them: VXI-11, HiSLIP and
/// raw SCPI sockets, each once, by its IPv4 address where it has one. Sends nothing itself.
///
/// Returns within settings.milliseconds what was found by then, and earlier once everything has answered; nothing
/// without a daemon, and without Avahi at build time.
[[nodiscard]] std::vector<std::string> networkInstrumentResources(const SearchSettings& settings);

} // namespace standin
