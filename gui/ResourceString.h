// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace gui
{

/// The kinds of interface that the composer knows, in the order of its list.
enum InterfaceType
{
    Vxi11Interface,
    HiSlipInterface,
    SocketInterface,
    KyibInterface,
    UsbInterface,
    SerialInterface,
    /// Not in the list: the place of GPIB boards, for which nothing is composed.
    GpibInterface
};

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

/// The resource string of the parts that the interface uses, or an empty text where `interfaceType` is none of the
/// list. White space around a part is dropped; beyond that nothing is checked, and an empty part stays empty.
[[nodiscard]] QString composeResourceString(int interfaceType, const ResourceParts& parts);

} // namespace gui
