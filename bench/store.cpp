// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// The store: reading the file, filling the model's rows from it, replacing all its entries, saving and looking up.

#include "Entries.h"
#include "config/ConfigurationFile.h"
#include "gui/ConfigurationModel.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

using KyVisa::ConfigurationFile;

namespace
{

ConfigurationFile& emptyStore()
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.m_aliases = {};
    store.m_resources = {};
    store.m_impl.reset();
    return store;
}

ConfigurationFile& storeOf(std::int64_t count)
{
    ConfigurationFile& store = emptyStore();
    store.m_fileName = entries::ownFile(count);
    store.load();
    // As the model does. Otherwise a save would also search for lines that it drops.
    store.rememberLoaded();
    return store;
}

void load(benchmark::State& state)
{
    ConfigurationFile& store = storeOf(state.range(0));
    entries::measure(state, emptyStore, [&] { store.load(); });
    if (store.m_aliases.size() + store.m_resources.size() != static_cast<std::size_t>(state.range(0)))
        state.SkipWithError("not every entry was loaded");
}

void rows(benchmark::State& state)
{
    storeOf(state.range(0));
    std::optional<ConfigurationModel> model;
    // The constructor loads the data.
    entries::measure(
        state, [&] { model.reset(); }, [&] { model.emplace(nullptr); });
    if (model->rowCount(QModelIndex()) != state.range(0))
        state.SkipWithError("not every entry became a row");
}

void save(benchmark::State& state)
{
    ConfigurationFile& store = storeOf(state.range(0));
    store.m_fileName = "saved";
    std::filesystem::copy_file(entries::ownFile(state.range(0)), store.m_fileName,
                               std::filesystem::copy_options::overwrite_existing);
    entries::measure(
        state, [] {}, [&] { store.save(); });
    if (std::filesystem::file_size("saved") != std::filesystem::file_size(entries::ownFile(state.range(0))))
        state.SkipWithError("the saved file has another size than the loaded one");
}

void setData(benchmark::State& state)
{
    std::vector<KyVisa::ResourceAliasPair> pairs;
    ConfigurationFile& store = storeOf(state.range(0));
    for (std::int64_t index = 0; index < state.range(0); ++index)
    {
        std::string alias;
        const std::string resource = store.getResource(static_cast<std::size_t>(index), alias);
        pairs.emplace_back(resource, alias);
    }
    entries::measure(state, emptyStore, [&] { store.setData(pairs); });
}

void lookUps(benchmark::State& state)
{
    constexpr std::int64_t lookUpCount = 1000;
    const ConfigurationFile& store = storeOf(state.range(0));
    std::vector<std::string> names;
    for (std::int64_t number = 0; number < lookUpCount; ++number)
        names.push_back(entries::aliasName(number * state.range(0) / lookUpCount));
    std::vector<std::string> replaced;
    entries::measure(
        state, [&] { replaced = names; },
        [&] {
            for (std::string& name : replaced)
                benchmark::DoNotOptimize(store.replaceAlias(name));
        });
}

} // namespace

BENCHMARK(load)->Apply(entries::atAllCounts);
BENCHMARK(rows)->Apply(entries::atAllCounts);
BENCHMARK(save)->Apply(entries::atAllCounts);
BENCHMARK(setData)->Apply(entries::atTenfoldCounts);
BENCHMARK(lookUps)->Apply(entries::atTenfoldCounts);
