// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"

#include <QDir>
#include <QProcessEnvironment>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>

namespace
{

/// One family, whatever else is installed: the sizes of windows follow from it.
const char* const fonts =
    "<fontconfig><dir>/usr/share/fonts/truetype/dejavu</dir><cachedir prefix='xdg'>fonts</cachedir><match>"
    "<edit name='family' mode='assign' binding='strong'><string>DejaVu Sans</string></edit></match></fontconfig>";

} // namespace

World::World()
{
    for (const char* folder : {"home", "work", "settings"})
        QDir(m_directory.path()).mkdir(folder);
    QDir::setCurrent(m_directory.filePath("work"));
    qputenv("HOME", m_directory.filePath("home").toUtf8());
    qputenv("XDG_CONFIG_HOME", m_directory.filePath("settings").toUtf8());
    qputenv("XDG_CACHE_HOME", m_directory.filePath("home").toUtf8());
    qputenv("XDG_RUNTIME_DIR", m_directory.path().toUtf8());
    qputenv("KYVISA_SCRIPT", m_directory.filePath("script").toUtf8());
    qputenv("KYVISA_LOG", m_directory.filePath("log").toUtf8());
    for (const QString& name : QProcessEnvironment::systemEnvironment().keys())
    {
        if (name.startsWith("QT_"))
            qunsetenv(name.toUtf8());
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_STYLE_OVERRIDE", "fusion");
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("FONTCONFIG_FILE", m_directory.filePath("fonts").toUtf8());
    writeFile(m_directory.filePath("fonts").toStdString(), fonts);
    // No case may ask this machine's daemons. Those that have daemons of their own say so.
    if (!qEnvironmentVariableIsSet("DBUS_SYSTEM_BUS_ADDRESS"))
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent");
    qunsetenv("KYVISACONFFILE");
}

World::~World()
{
    QDir::setCurrent("/");
}

std::filesystem::path World::configurationFile()
{
    return qEnvironmentVariable("HOME").toStdString() + "/.kyvane-yollet/visa.conf";
}

std::filesystem::path World::settingsFile()
{
    return qEnvironmentVariable("XDG_CONFIG_HOME").toStdString() + "/Kyvane&Yollet/KyVisaConfigure.conf";
}

std::filesystem::path World::callLog()
{
    return qEnvironmentVariable("KYVISA_LOG").toStdString();
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
    const std::filesystem::path file = World::configurationFile();
    writeFile(file, ":KyVisaConfigurationFileVersion01\n" + lines);
    static std::chrono::seconds age = std::chrono::hours(1);
    std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) - age--);
}

void scriptVisa(const std::string& lines)
{
    writeFile(qEnvironmentVariable("KYVISA_SCRIPT").toStdString(), lines);
}

std::string takeVisaCalls()
{
    std::string calls = readFile(World::callLog());
    std::filesystem::remove(World::callLog());
    return calls;
}

std::string visaCallsAfter(const std::string& beginning)
{
    std::string calls = takeVisaCalls();
    std::replace(calls.begin(), calls.end(), '\n', ';');
    EXPECT_EQ(calls.substr(0, beginning.size()), beginning);
    return calls.substr(std::min(calls.size(), beginning.size()));
}

std::ostream& operator<<(std::ostream& stream, const Row& row)
{
    return stream << row.name;
}
