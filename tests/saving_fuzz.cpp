// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "config/ModernConfigurationFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

using KyVisa::ModernConfigurationFile;

/// The lines of a file in upper case, without the blanks at their ends.
static std::set<std::string> linesOf(const std::string& path)
{
    std::set<std::string> lines;
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);)
        lines.insert(ModernConfigurationFile::upperCase(line.substr(0, line.find_last_not_of(" \t\r") + 1)));
    lines.erase("");
    return lines;
}

/// Reads a file, saves it and reads it again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static std::string folder = std::filesystem::exists("/dev/shm") ? "/dev/shm/fuzz.XXXXXX" : "fuzz.XXXXXX";
    static const std::string path = std::string(::mkdtemp(folder.data())) + "/visa.conf";
    static const std::string copy = path + ".~1~";
    std::ofstream(path, std::ios::binary)
        << ModernConfigurationFile::GetVersionString() << std::string(data, data + size);
    const auto oldLines = linesOf(path);
    ModernConfigurationFile file(path), again(path);
    file.parse(file.m_aliases, file.m_resources, file.m_provider);
    file.save();
    again.parse(again.m_aliases, again.m_resources, again.m_provider);
    const auto lines = linesOf(std::filesystem::exists(copy) ? copy : path);
    std::filesystem::remove(copy);
    if (!std::includes(lines.begin(), lines.end(), oldLines.begin(), oldLines.end()) ||
        again.m_aliases != file.m_aliases || again.m_resources != file.m_resources ||
        again.m_provider != file.m_provider)
        __builtin_trap();
    return 0;
}
