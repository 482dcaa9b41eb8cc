// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "PaleIcon.h"

#include <QPainter>

namespace gui
{

QIcon withPaleDisabled(const QIcon& icon)
{
    constexpr int largest = 64;
    constexpr double opacity = 0.35;
    QIcon result = icon;
    for (const QSize& size : icon.availableSizes())
    {
        if (size.width() > largest)
            continue;
        const QPixmap normal = icon.pixmap(size);
        QPixmap pale(normal.size());
        pale.setDevicePixelRatio(normal.devicePixelRatio());
        pale.fill(Qt::transparent);
        QPainter painter(&pale);
        painter.setOpacity(opacity);
        painter.drawPixmap(0, 0, normal);
        painter.end();
        result.addPixmap(pale, QIcon::Disabled);
    }
    return result;
}

} // namespace gui
