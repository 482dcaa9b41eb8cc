// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "MainWindow.h"

#include <QApplication>

namespace
{

// The title of the main window shows the same version.
constexpr int majorVersion = 5;
constexpr int minorVersion = 12;
constexpr int patchVersion = 9;

QString versionText()
{
    return QString::number(majorVersion) + QLatin1Char('.') + QString::number(minorVersion) + QLatin1Char('.') +
           QString::number(patchVersion);
}

} // namespace

int main(int argc, char** argv)
{
    // The collection has registered itself at load time already; doing it again is harmless.
    Q_INIT_RESOURCE(resource);
    QCoreApplication::setOrganizationName(QStringLiteral("Kyvane&Yollet"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("kyvane-yollet.com"));
    QCoreApplication::setApplicationName(QStringLiteral("KyVisaConfigure"));
    QCoreApplication::setApplicationVersion(versionText());

    // Read while the application object is built: sharp text and icons on dense screens.
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    // Every widget draws by itself: without this Qt loads an OpenGL driver for the first window.
    QCoreApplication::setAttribute(Qt::AA_ForceRasterWidgets);
#if QT_VERSION >= QT_VERSION_CHECK(5, 14, 0)
    // At one and a half times the density, twice the size would leave no room for the windows.
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::RoundPreferFloor);
#endif
    // Under Wayland a window gets its icon through its desktop file.
    QGuiApplication::setDesktopFileName(QStringLiteral("com.kyvane_yollet.kyvisaconfigure"));

    const QApplication application(argc, argv);
    gui::MainWindow window;
    window.show();
    return QApplication::exec();
}
