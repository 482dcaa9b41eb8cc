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

/// If the window and its frame exceed the available area, shrinks window and area so that they fit. Estimates the frame
/// from the style, because the real one is unknown until the window is shown.
void fitDesignedSize(QWidget& window, QRect& available)
{
    const int border = window.style()->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth, nullptr, &window);
    const int title = window.style()->pixelMetric(QStyle::PM_TitleBarHeight, nullptr, &window);
    const QSize room = available.size() - QSize(2 * border, title + border);
    if (window.size().boundedTo(room) == window.size())
        return;
    available.setSize(room);
    window.resize(window.size().boundedTo(room));
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
    // While a window is being shown, its frame is unknown, and move() ignores it.
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
