// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// For LD_PRELOAD: ends a Qt program when its first window has been painted and sent to the display.

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <QWindow>

#include <unistd.h>

namespace
{

struct FirstFrame : QObject
{
    bool eventFilter(QObject* object, QEvent* event) override
    {
        // The window paints and sends itself while it handles this event. The timer fires afterwards.
        if (event->type() == QEvent::Expose && static_cast<QWindow*>(object)->isExposed())
            QTimer::singleShot(0, this, [] { ::_exit(0); });
        return false;
    }
};

void watch()
{
    qApp->installEventFilter(new FirstFrame);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watch)
