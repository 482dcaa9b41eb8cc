// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ResourceString.h"

namespace gui
{

namespace
{

const QLatin1String separator("::");
const QLatin1String instrument("::INSTR");

QString hiSlipPort(const QString& port)
{
    // 4880 is HiSLIP's default port. Blanks stay: see "Kept as it is" in docs/source.md.
    return port.isEmpty() || port == QLatin1String("4880") ? QString() : QLatin1Char(',') + port;
}

QString socketPort(const QString& port)
{
    return port.isEmpty() ? QString() : separator + port;
}

} // namespace

bool isTcpip(int interfaceType)
{
    return interfaceType < 0 || interfaceType == Vxi11Interface || interfaceType == HiSlipInterface ||
           interfaceType == SocketInterface || interfaceType == KyibInterface;
}

QString composeResourceString(int interfaceType, const ResourceParts& parts)
{
    const QString board = parts.board.trimmed();
    const QString host = parts.host.trimmed();
    const QString device = parts.device.trimmed();
    const QString tcpip = QStringLiteral("TCPIP") + board + separator + host;
    switch (static_cast<InterfaceType>(interfaceType))
    {
    case Vxi11Interface:
        return tcpip + QStringLiteral("::inst") + device + instrument;
    case HiSlipInterface:
        return tcpip + QStringLiteral("::hislip") + device + hiSlipPort(parts.port) + instrument;
    case SocketInterface:
        return tcpip + socketPort(parts.port.trimmed()) + QStringLiteral("::SOCKET");
    case KyibInterface:
        return QStringLiteral("KYIB::") + host;
    case UsbInterface:
        return QStringLiteral("USB") + board + separator + parts.vendorId.trimmed() + separator +
               parts.productId.trimmed() + separator + parts.serialNumber.trimmed() + instrument;
    case SerialInterface:
        return QStringLiteral("ASRL") + board + instrument;
    case GpibInterface:
        break;
    }
    return {};
}

} // namespace gui
