// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "MainWindow.h"

#include <QApplication>

int main(int argc, char** argv)
{
    // For the second time: see "Kept as it is" in docs/source.md.
    Q_INIT_RESOURCE(resource);
    QCoreApplication::setOrganizationName(QStringLiteral("Kyvane&Yollet"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("kyvane-yollet.com"));
    QCoreApplication::setApplicationName(QStringLiteral("KyVisaConfigure"));
    QCoreApplication::setApplicationVersion(
        QStringLiteral("%1.%2.%3").arg(MAJOR_VERSION).arg(MINOR_VERSION).arg(PATCH_VERSION));

    // Sharp text and icons on dense screens. Qt reads these when the application object is built.
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    // No widget uses OpenGL, but without this Qt loads its driver for the first window.
    QCoreApplication::setAttribute(Qt::AA_ForceRasterWidgets);
#if QT_VERSION >= QT_VERSION_CHECK(5, 14, 0)
    // If a factor of 1.5 is rounded up, the windows can be larger than the screen.
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::RoundPreferFloor);
#endif
    // Under Wayland a window gets its icon through its desktop file.
    QGuiApplication::setDesktopFileName(QStringLiteral("com.kyvane_yollet.kyvisaconfigure"));

    const QApplication application(argc, argv);
    gui::MainWindow window;
    window.show();
    return QApplication::exec();
}
