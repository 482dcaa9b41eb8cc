// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// A plain loader in C++, without any check: a loop that reads lines into a map with reserved room.

#include "Entries.h"

#include <fstream>
#include <unordered_map>

namespace
{

void floorLoad(benchmark::State& state)
{
    const std::string name = entries::ownFile(state.range(0));
    std::unordered_map<std::string, std::string> map;
    entries::measure(
        state, [&] { map = {}; },
        [&] {
            map.reserve(static_cast<std::size_t>(state.range(0)));
            std::ifstream file(name, std::ios::binary);
            for (std::string line; std::getline(file, line);)
            {
                const std::size_t separator = line.find('=');
                if (separator == std::string::npos)
                    map.emplace(line, std::string());
                else
                    map.emplace(line.substr(0, separator), line.substr(separator + 1));
            }
        });
}

} // namespace

BENCHMARK(floorLoad)->Apply(entries::atAllCounts);
