// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

namespace standin
{

/// Returns the standard's text for a common status (VPP-4.3, "Completion codes"), or null. The text is static.
[[nodiscard]] const char* statusDescription(ViStatus status);

} // namespace standin
