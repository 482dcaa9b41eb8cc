// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QIcon>

namespace gui
{

/// Returns the icon with a pale picture for the disabled state. The style's grey looks enabled on a dark background.
[[nodiscard]] QIcon withPaleDisabled(const QIcon& icon);

} // namespace gui
