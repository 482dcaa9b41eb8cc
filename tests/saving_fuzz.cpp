// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "config/ModernConfigurationFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

using KyVisa::ModernConfigurationFile;

namespace
{

/// The lines in upper case, without the blanks at their ends.
std::set<std::string> linesOf(const std::string& text)
{
    std::set<std::string> lines = {""};
    std::istringstream stream(ModernConfigurationFile::upperCase(text));
    for (std::string line; std::getline(stream, line);)
        lines.insert(line.substr(0, line.find_last_not_of(" \t\r") + 1));
    return lines;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

/// Reads a file, saves it and reads it again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static std::string folder = std::filesystem::exists("/dev/shm") ? "/dev/shm/fuzz.XXXXXX" : "fuzz.XXXXXX";
    static const std::string path = std::string(::mkdtemp(folder.data())) + "/visa.conf";
    const std::string old = ModernConfigurationFile::GetVersionString() + std::string(data, data + size);
    std::ofstream(path, std::ios::binary) << old;
    ModernConfigurationFile file(path), again(path);
    file.parse(file.m_aliases, file.m_resources, file.m_provider);
    file.save();
    again.parse(again.m_aliases, again.m_resources, again.m_provider);
    const std::string copy = readFile(path + ".~1~");
    const bool hasCopy = std::filesystem::remove(path + ".~1~");
    const auto lines = linesOf(readFile(path)), oldLines = linesOf(old);
    if (hasCopy ? copy != old : !std::includes(lines.begin(), lines.end(), oldLines.begin(), oldLines.end()))
        __builtin_trap();
    if (again.m_aliases != file.m_aliases || again.m_resources != file.m_resources ||
        again.m_provider != file.m_provider)
        __builtin_trap();
    return 0;
}
