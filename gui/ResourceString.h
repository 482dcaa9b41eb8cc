// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace gui
{

/// The kinds of interface that the composer knows, in the order of its list.
enum InterfaceType : int
{
    Vxi11Interface,
    HiSlipInterface,
    SocketInterface,
    KyibInterface,
    UsbInterface,
    SerialInterface,
    /// Not in the list: the index at which the composer would show its GPIB group. Nothing is composed for it.
    GpibInterface
};

constexpr int interfaceTypeCount = GpibInterface; ///< of the list

/// Whether the composer shows the TCP/IP fields. It shows them also where no interface is chosen, at a negative index.
[[nodiscard]] bool isTcpip(int interfaceType);

/// The texts that a resource string is put together from, as they were typed.
struct ResourceParts
{
    QString board;
    QString host;
    QString device;
    QString port;
    QString vendorId;
    QString productId;
    QString serialNumber;
};

/// The resource string of the parts that the interface uses, or an empty text where `interfaceType` is not in the
/// list. White space around a part is dropped; beyond that nothing is checked, and an empty part stays empty.
[[nodiscard]] QString composeResourceString(int interfaceType, const ResourceParts& parts);

} // namespace gui
