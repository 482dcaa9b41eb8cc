// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Preloaded into a Qt program: ends it as soon as its first window has been painted and sent to the display.

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <QWindow>

#include <unistd.h>

namespace
{

class FirstFrame : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject* object, QEvent* event) override
    {
        // A window paints and flushes itself while it handles this event; the timer comes after that.
        const auto* window = qobject_cast<QWindow*>(object);
        if (event->type() == QEvent::Expose && window != nullptr && window->isExposed())
            QTimer::singleShot(0, this, [] { ::_exit(0); });
        return false;
    }
};

void watch()
{
    qApp->installEventFilter(new FirstFrame(qApp));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watch)
