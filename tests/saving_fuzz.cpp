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

/// The lines in upper case, without the blanks at their ends.
std::set<std::string> linesOf(const std::string& text)
{
    std::set<std::string> lines = {""};
    std::istringstream stream(ModernConfigurationFile::upperCase(text));
    for (std::string line; std::getline(stream, line);)
        lines.insert(line.substr(0, line.find_last_not_of(" \t\r") + 1));
    return lines;
}

} // namespace

/// The first byte chooses what happens to the file that the others are.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static std::string folder = std::filesystem::exists("/dev/shm") ? "/dev/shm/fuzz.XXXXXX" : "fuzz.XXXXXX";
    static const std::string path = std::string(::mkdtemp(folder.data())) + "/visa.conf";
    const unsigned choice = size == 0 ? 0 : data[0];
    std::string old = (choice & 1U) != 0 ? ModernConfigurationFile::GetVersionString() + '\n' : "";
    old.append(data + std::min<std::size_t>(size, 1), data + size);
    ModernConfigurationFile file(path), again(path);
    std::string saved, copy, safe;
    const auto save = [&] {
        std::ofstream(path, std::ios::binary) << old;
        file.save();
        static_cast<void>(KyVisa::readFile(path, saved) && KyVisa::readFile(path + ".~1~", copy));
        std::filesystem::remove(path + ".~1~");
        const auto now = linesOf(safe += saved), inDanger = linesOf(old);
        if (copy != old && (!copy.empty() || !std::includes(now.begin(), now.end(), inDanger.begin(), inDanger.end())))
            __builtin_trap();
    };
    std::ofstream(path, std::ios::binary) << old;
    if ((choice & 2U) != 0)
        file.parse(file.m_aliases, file.m_resources, file.m_provider);
    save(); // what was read, or nothing
    if ((choice & 8U) != 0)
        file.m_aliases[old] = old;
    if ((choice & 4U) != 0)
        file.m_resources.clear();
    save();
    again.parse(again.m_aliases, again.m_resources, again.m_provider);
    const auto lines = static_cast<std::size_t>(std::count(saved.begin(), saved.end(), '\n'));
    if (lines != 2 + file.m_resources.size() + file.m_aliases.size() ||
        ((choice & 8U) == 0 && (again.m_provider != file.m_provider || again.m_aliases != file.m_aliases ||
                                again.m_resources != file.m_resources)))
        __builtin_trap();
    return 0;
}
