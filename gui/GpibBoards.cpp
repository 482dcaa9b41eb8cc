// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "GpibBoards.h"

#include <algorithm>
#include <iterator>

namespace gui
{

void addGpibBoard(KyVisa::GpibPropertiesMap& boards)
{
    std::uint16_t deviceNo = 0;
    for (const auto& board : boards)
        deviceNo = std::max(deviceNo, static_cast<std::uint16_t>(board.first + 1));
    boards[deviceNo] = {};
}

void removeGpibBoard(KyVisa::GpibPropertiesMap& boards, int position)
{
    boards.erase(std::next(boards.begin(), position));
}

void putGpibBoard(KyVisa::GpibPropertiesMap& boards, std::uint16_t deviceNo, std::uint16_t primaryAddress,
                  bool systemController)
{
    KyVisa::SGpibProperties properties;
    properties.primaryAddress = primaryAddress;
    properties.systemController = systemController ? 1 : 0;
    boards[deviceNo] = properties;
}

} // namespace gui
