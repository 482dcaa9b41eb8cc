// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string_view>

namespace standin
{

/// Writes a line of texts and numbers to standard error if the process was started with KYVISA_STAND_IN_TRACE=1.
/// Otherwise does nothing. Any thread may call.
template <typename... Parts>
void trace(const Parts&... parts)
{
    static const char* const setting = std::getenv("KYVISA_STAND_IN_TRACE");
    static const bool isOn = setting != nullptr && std::string_view(setting) == "1";
    if (!isOn)
        return;
    std::ostringstream line;
    ((line << "kyvisa: ") << ... << parts) << '\n';
    std::cerr << line.str(); // one write, so that the lines of threads do not mix
}

} // namespace standin
