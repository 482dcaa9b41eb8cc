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
    /// Not in the list. The composer would show its GPIB group at this index.
    GpibInterface
};

constexpr int interfaceTypeCount = GpibInterface; ///< number of types in the list

/// Returns whether the composer shows the TCP/IP fields. It also shows them at a negative index: no type is chosen.
[[nodiscard]] bool isTcpip(int interfaceType);

/// The parts of a resource string, as typed.
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

/// Returns the resource string for an interface type, or an empty text if the type is not in the list. Trims the
/// parts, except the port of HiSLIP, and checks nothing.
[[nodiscard]] QString composeResourceString(int interfaceType, const ResourceParts& parts);

} // namespace gui
