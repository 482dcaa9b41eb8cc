// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "config/FileReplacement.h"
#include "config/ModernConfigurationFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

using KyVisa::ModernConfigurationFile;

namespace
{

std::string bytesOf(const std::string& path)
{
    std::string bytes;
    KyVisa::readFile(path, bytes);
    return bytes;
}

/// The lines in upper case, without a carriage return, and without those that are blank.
std::set<std::string> linesOf(const std::string& text)
{
    std::set<std::string> lines;
    std::istringstream stream(ModernConfigurationFile::upperCase(text));
    for (std::string line; std::getline(stream, line);)
    {
        if (line.find_first_not_of(" \t\r") != std::string::npos)
            lines.insert(line.substr(0, line.size() - (line.back() == '\r' ? 1 : 0)));
    }
    return lines;
}

void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

} // namespace

/// The first byte chooses what happens to the file that the others are.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const auto folder = [] {
        std::string path = (std::filesystem::exists("/dev/shm") ? "/dev/shm" : ".") + std::string("/fuzz.XXXXXX");
        return std::string(::mkdtemp(path.data()));
    }();
    const unsigned choice = size == 0 ? 0 : data[0];
    const std::string path = folder + "/visa.conf";
    std::string old = (choice & 1U) != 0 ? ModernConfigurationFile::GetVersionString() + '\n' : "";
    old.append(data + (size == 0 ? 0 : 1), data + size);
    std::ofstream(path, std::ios::binary) << old;

    ModernConfigurationFile file(path);
    std::string seen = ModernConfigurationFile::GetVersionString() + '\n';
    if ((choice & 2U) != 0)
    {
        file.parse(file.m_aliases, file.m_resources, file.m_provider);
        seen += ":Provider=" + std::to_string(file.m_provider) + '\n';
        for (const std::string& resource : file.m_resources)
            seen += resource + '\n';
        for (const auto& [alias, resource] : file.m_aliases)
            seen += alias + '=' + resource + '\n';
    }
    if ((choice & 4U) != 0)
        file.m_aliases.clear();
    if ((choice & 8U) != 0)
        file.m_aliases[old] = old;
    file.save();

    const std::string saved = bytesOf(path);
    const auto count = static_cast<std::size_t>(std::count(saved.begin(), saved.end(), '\n'));
    require(count == 2 + file.m_resources.size() + file.m_aliases.size());
    const std::set<std::string> safe = linesOf(seen + saved);
    const std::set<std::string> inDanger = linesOf(old);
    const std::string copy = bytesOf(path + ".~1~");
    require(copy == old || (copy.empty() && std::includes(safe.begin(), safe.end(), inDanger.begin(), inDanger.end())));
    std::filesystem::remove(path + ".~1~");

    ModernConfigurationFile again(path);
    again.parse(again.m_aliases, again.m_resources, again.m_provider);
    require((choice & 8U) != 0 || (again.m_provider == file.m_provider && again.m_aliases == file.m_aliases &&
                                   again.m_resources == file.m_resources));
    return 0;
}
