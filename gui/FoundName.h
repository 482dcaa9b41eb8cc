// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

#include <QString>

#include <array>

namespace gui
{

/// No bench has so many resources. A library that reports more must not fill the memory.
constexpr ViUInt32 mostFoundResources = 10'000;

/// The buffer for a resource name that the library finds. It has more room than VISA asks for, and it ends the name
/// also where the library does not.
class FoundName
{
public:
    /// Returns the emptied buffer, for the library to write into.
    [[nodiscard]] ViChar* buffer()
    {
        m_bytes.fill('\0');
        return m_bytes.data();
    }

    [[nodiscard]] const ViChar* bytes() const { return m_bytes.data(); }

    /// The name. A byte that is not part of UTF-8 becomes a replacement character.
    [[nodiscard]] QString text() const { return QString::fromUtf8(m_bytes.data()); }

private:
    static constexpr std::size_t room = 1024;

    std::array<ViChar, room + 1> m_bytes = {};
};

} // namespace gui
