// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"

#include <QApplication>
#include <QDir>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <chrono>
#include <fstream>
#include <iostream>
#include <sstream>

#include <gmock/gmock.h>

namespace
{

/// One family, whatever else is installed: the sizes of windows follow from it.
const char* const fonts =
    "<fontconfig><dir>/usr/share/fonts/truetype/dejavu</dir><cachedir prefix='xdg'>fonts</cachedir><match>"
    "<edit name='family' mode='assign' binding='strong'><string>DejaVu Sans</string></edit></match></fontconfig>";

/// Nothing of the caller's surroundings counts.
void setUp(const QDir& directory)
{
    for (const QString& name : QProcessEnvironment::systemEnvironment().keys())
    {
        if (name.startsWith("QT_"))
            qunsetenv(name.toUtf8());
    }
    qunsetenv("KYVISACONFFILE");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_STYLE_OVERRIDE", "fusion");
    qputenv("QT_LOGGING_RULES", "default.warning=false"); // about the platform, and many
    qputenv("LC_ALL", "C.UTF-8");
    // No case may ask this machine's daemons. Only stand-in/on-network makes this bus.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/bus");
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
        qputenv(name, directory.path().toUtf8());
    qputenv("FONTCONFIG_FILE", directory.filePath("fonts").toUtf8());
    writeFile(directory.filePath("fonts").toStdString(), fonts);
    qputenv("HOME", directory.filePath("home").toUtf8());
    directory.mkdir("home");
    directory.mkdir("work");
    QDir::setCurrent(directory.filePath("work"));
}

} // namespace

std::filesystem::path perUserFile()
{
    return qEnvironmentVariable("HOME").toStdString() + "/.kyvane-yollet/visa.conf";
}

void writeFile(const std::filesystem::path& path, const std::string& text)
{
    std::filesystem::create_directories(std::filesystem::absolute(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::string readFile(const std::filesystem::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void writeConfiguration(const std::string& lines)
{
    const std::filesystem::path file = perUserFile();
    writeFile(file, ":KyVisaConfigurationFileVersion01\n" + lines);
    static std::chrono::seconds age = std::chrono::hours(1);
    std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) - age--);
}

int main(int argc, char** argv)
{
    const QTemporaryDir directory;
    setUp(directory.path());
    QCoreApplication::setOrganizationName("Kyvane&Yollet");
    QCoreApplication::setApplicationName("KyVisaConfigure");
    const QApplication application(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(filter) == "*" && !GTEST_FLAG_GET(list_tests))
    {
        std::cerr << "Each case needs its own process: ctest --preset dev, or --gtest_filter=NAME\n";
        return 1;
    }
    return RUN_ALL_TESTS();
}
