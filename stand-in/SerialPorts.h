// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace standin
{

/// `ASRLn::INSTR` for each serial port, numbered from 1 in the natural order of the device nodes. A UART that the
/// kernel lists without having found one is left out.
[[nodiscard]] std::vector<std::string> serialPortResources();

} // namespace standin
