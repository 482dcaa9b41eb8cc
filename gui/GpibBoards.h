// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

/// The edits that the properties dialog makes to the map of GPIB boards.
namespace gui
{

/// Adds a default board. Its number is the largest `number + 1` of all boards, where 65535 + 1 is 0. Replaces a board
/// with that number.
void addGpibBoard(KyVisa::GpibPropertiesMap& boards);

/// Removes the board at `position` in the map, which must exist.
void removeGpibBoard(KyVisa::GpibPropertiesMap& boards, int position);

/// Adds or replaces a board. It has no secondary address.
void putGpibBoard(KyVisa::GpibPropertiesMap& boards, std::uint16_t deviceNo, std::uint16_t primaryAddress,
                  bool systemController);

} // namespace gui
