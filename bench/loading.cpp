// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Reading every entry of the store by its index, as the table model does when it loads: the store's way, which
// remembers the last alias, beside the plain way, which counts through the map from its beginning each time.

#include "config/ConfigurationFile.h"

#include <iterator>

#include <benchmark/benchmark.h>

namespace
{

KyVisa::ConfigurationFile& storeOf(std::size_t count)
{
    std::vector<KyVisa::ResourceAliasPair> pairs;
    for (std::size_t number = 0; number < count; ++number)
        pairs.emplace_back("TCPIP0::192.168.1.10::hislip0::INSTR", "ALIAS" + std::to_string(number));
    KyVisa::ConfigurationFile& store = KyVisa::ConfigurationFile::getInstance();
    store.setData(pairs);
    return store;
}

void byIndex(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    const KyVisa::ConfigurationFile& store = storeOf(count);
    std::string alias;
    for ([[maybe_unused]] auto _ : state)
    {
        for (std::size_t index = 0; index < count; ++index)
            benchmark::DoNotOptimize(store.getResource(index, alias));
    }
    state.SetComplexityN(state.range(0));
}

void plainly(benchmark::State& state)
{
    const KyVisa::AliasMap& aliases = storeOf(static_cast<std::size_t>(state.range(0))).m_aliases;
    for ([[maybe_unused]] auto _ : state)
    {
        for (std::ptrdiff_t index = 0; index < state.range(0); ++index)
        {
            const auto entry = std::next(aliases.begin(), index);
            std::string alias = entry->first;
            std::string resource = entry->second;
            benchmark::DoNotOptimize(alias);
            benchmark::DoNotOptimize(resource);
        }
    }
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK(byIndex)->RangeMultiplier(2)->Range(5000, 40000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(plainly)->RangeMultiplier(2)->Range(5000, 40000)->Unit(benchmark::kMillisecond)->Complexity();

BENCHMARK_MAIN();
