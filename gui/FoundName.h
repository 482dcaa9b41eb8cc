// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

#include <QString>

#include <array>
#include <cstddef>

namespace gui
{

/// The limit of names in a search, because the count that the library reports can be wrong.
constexpr ViUInt32 mostFoundResources = 10000;

/// A buffer for a resource name from the library. It is larger than VISA requires and always ends with a NUL.
class FoundName
{
public:
    /// Clears the buffer and returns it. The library may write `room` bytes.
    [[nodiscard]] ViChar* buffer()
    {
        m_bytes.fill('\0');
        return m_bytes.data();
    }

    [[nodiscard]] const ViChar* bytes() const { return m_bytes.data(); }

    /// Returns the name. Invalid UTF-8 becomes replacement characters.
    [[nodiscard]] QString text() const { return QString::fromUtf8(m_bytes.data()); }

private:
    static constexpr std::size_t room = 1024;

    std::array<ViChar, room + 1> m_bytes = {};
};

} // namespace gui
