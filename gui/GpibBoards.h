// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

/// The edits that the properties dialog makes to the map of GPIB boards.
namespace gui
{

/// Adds a default board under the largest number plus one, in 16 bits: 65535 counts as leading to 0, so beside 65534
/// it is itself replaced.
void addGpibBoard(KyVisa::GpibPropertiesMap& boards);

/// Removes the board at a place in the order of board numbers. `position` must be one of the map's.
void removeGpibBoard(KyVisa::GpibPropertiesMap& boards, int position);

/// Puts a board in the place of any that has its number. It gets no secondary address.
void putGpibBoard(KyVisa::GpibPropertiesMap& boards, std::uint16_t deviceNo, std::uint16_t primaryAddress,
                  bool systemController);

} // namespace gui
