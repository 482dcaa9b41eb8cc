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

} // namespace

void restoreWindowSettings(QWidget& window, const QString& group, MaximizedState maximized, QTabWidget* tabs)
{
    QSettings settings;
    settings.beginGroup(group);
    const bool showMaximized =
        maximized == MaximizedState::Remembered && settings.value(maximizedKey, window.isMaximized()).toBool();
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        window.setGeometry(
            QStyle::alignedRect(Qt::LeftToRight, Qt::AlignCenter, window.size(), screen->availableGeometry()));
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
