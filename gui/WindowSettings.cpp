// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "WindowSettings.h"

#include <QGuiApplication>
#include <QScreen>
#include <QSettings>
#include <QStyle>
#include <QTabWidget>
#include <QWidget>
#include <QWindow>

namespace gui
{

namespace
{

const QLatin1String sizeKey("size");
const QLatin1String positionKey("pos");
const QLatin1String maximizedKey("fullscreen");
const QLatin1String tabKey("tabindex");

/// Makes a window that is larger than the available area fit into it together with its frame, and leaves the frame's
/// part out of `available`. The real frame is not known before the window is shown.
void fitDesignedSize(QWidget& window, QRect& available)
{
    if (window.size().boundedTo(available.size()) == window.size())
        return;
    const int border = window.style()->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth, nullptr, &window);
    const int title = window.style()->pixelMetric(QStyle::PM_TitleBarHeight, nullptr, &window);
    available.setSize(available.size() - QSize(2 * border, title + border));
    window.resize(window.size().boundedTo(available.size()));
}

} // namespace

void restoreWindowSettings(QWidget& window, const QString& group, MaximizedState maximized, QTabWidget* tabs)
{
    QSettings settings;
    settings.beginGroup(group);
    const bool showMaximized =
        maximized == MaximizedState::Remembered && settings.value(maximizedKey, window.isMaximized()).toBool();
    if (const QScreen* screen = QGuiApplication::primaryScreen())
    {
        QRect available = screen->availableGeometry();
        if (!settings.contains(sizeKey))
            fitDesignedSize(window, available);
        window.setGeometry(QStyle::alignedRect(Qt::LeftToRight, Qt::AlignCenter, window.size(), available));
    }
    window.resize(settings.value(sizeKey, window.size()).toSize());
    const QPoint position = settings.value(positionKey, window.pos()).toPoint();
    window.move(position);
    // A window that is just being shown does not know its frame yet, and so move() places it without the frame.
    if (QWindow* native = window.windowHandle())
        native->setFramePosition(position);
    if (tabs != nullptr)
        tabs->setCurrentIndex(settings.value(tabKey, 0).toInt());
    settings.endGroup();
    if (showMaximized)
        window.showMaximized();
}

void saveWindowSettings(const QWidget& window, const QString& group, MaximizedState maximized, const QTabWidget* tabs)
{
    QSettings settings;
    settings.beginGroup(group);
    settings.setValue(sizeKey, window.size());
    settings.setValue(positionKey, window.pos());
    if (maximized == MaximizedState::Remembered)
        settings.setValue(maximizedKey, window.isMaximized());
    if (tabs != nullptr)
        settings.setValue(tabKey, tabs->currentIndex());
    settings.endGroup();
}

} // namespace gui
