// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace standin
{

/// Returns `ASRLn::INSTR` for each serial port, numbered from 1. Skips a UART that the kernel lists but did not find.
/// Any thread may call.
[[nodiscard]] std::vector<std::string> serialPortResources();

} // namespace standin
