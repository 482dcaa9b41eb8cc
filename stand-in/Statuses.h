// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

namespace standin
{

/// The standard's words for a status that this library returns (VPP-4.3, "Completion codes"), or null.
[[nodiscard]] const char* statusDescription(ViStatus status);

} // namespace standin
