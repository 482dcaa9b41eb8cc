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

const std::string version = ":KyVisaConfigurationFileVersion01";
const std::string providerKey = ":Provider=";

std::string bytesOf(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// The lines that say something, with aliases in upper case.
std::set<std::string> linesOf(const std::string& text)
{
    std::set<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
    {
        if (line == version + '\r' || (line.rfind(providerKey, 0) == 0 && line.back() == '\r'))
            line.pop_back();
        const std::size_t separator = line.find('=');
        if (separator != std::string::npos && line[0] != '#' && line[0] != ':')
            line = ModernConfigurationFile::upperCase(line.substr(0, separator)) + line.substr(separator);
        if (line.find_first_not_of(" \t\r") != std::string::npos && line != version)
            lines.insert(line);
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
    std::string old = (choice & 1U) != 0 ? version + '\n' : "";
    old.append(data + (size == 0 ? 0 : 1), data + size);
    std::ofstream(path, std::ios::binary) << old;

    ModernConfigurationFile file(path);
    std::set<std::string> inDanger = linesOf(old);
    if ((choice & 2U) != 0)
    {
        file.parse(file.m_aliases, file.m_resources, file.m_provider);
        inDanger.erase(providerKey + std::to_string(file.m_provider));
        for (const std::string& resource : file.m_resources)
            inDanger.erase(resource);
        for (const auto& [alias, resource] : file.m_aliases)
            inDanger.erase(alias + '=' + resource);
    }
    if ((choice & 4U) != 0)
        file.m_aliases.clear();
    if ((choice & 8U) != 0)
        file.m_aliases[old] = old;
    file.save();

    const std::string saved = bytesOf(path);
    const auto count = static_cast<std::size_t>(std::count(saved.begin(), saved.end(), '\n'));
    require(count == 2 + file.m_resources.size() + file.m_aliases.size());
    const std::set<std::string> lines = linesOf(saved);
    const bool kept = std::includes(lines.begin(), lines.end(), inDanger.begin(), inDanger.end());
    require(std::filesystem::exists(path + ".~1~") != kept);
    require(kept || bytesOf(path + ".~1~") == old);
    std::filesystem::remove(path + ".~1~");

    ModernConfigurationFile again(path);
    again.parse(again.m_aliases, again.m_resources, again.m_provider);
    const bool isFixedPoint = again.m_provider == file.m_provider && again.m_aliases == file.m_aliases &&
                              again.m_resources == file.m_resources;
    require(isFixedPoint || (choice & 8U) != 0);
    return 0;
}
