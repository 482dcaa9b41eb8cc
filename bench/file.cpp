// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// The file N.conf, and its peers on the same entries in N.ini: GLib's GKeyFile and Qt's QSettings. The floor is a plain
// loop that reads lines into a map, without any check.

#include "config/ConfigurationFile.h"
#include "gui/ConfigurationModel.h"

#include <QSettings>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <unordered_map>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

namespace
{

std::string fileName(const benchmark::State& state, const char* ending)
{
    return std::to_string(state.range(0)) + ending;
}

KyVisa::ConfigurationFile& loadedStore(const benchmark::State& state)
{
    KyVisa::ConfigurationFile& store = KyVisa::ConfigurationFile::getInstance();
    store.m_fileName = fileName(state, ".conf");
    store.load();
    return store;
}

/// Times the work, but not its preparation. The work returns whether it succeeded.
template <typename Prepare, typename Work>
void measure(benchmark::State& state, Prepare prepare, Work work)
{
    for ([[maybe_unused]] auto _ : state)
    {
        state.PauseTiming();
        prepare();
        state.ResumeTiming();
        if (!work())
            return state.SkipWithError("the work was not done");
    }
}

void load(benchmark::State& state)
{
    KyVisa::ConfigurationFile& store = loadedStore(state);
    const auto clear = [&] {
        store.m_aliases = {};
        store.m_resources = {};
        store.m_impl.reset();
    };
    measure(state, clear, [&] {
        store.load();
        return static_cast<std::int64_t>(store.m_aliases.size() + store.m_resources.size()) == state.range(0);
    });
}

void rows(benchmark::State& state)
{
    loadedStore(state);
    std::optional<ConfigurationModel> model;
    const auto clear = [&] { model.reset(); };
    // The constructor fills the rows.
    measure(state, clear, [&] { return model.emplace(nullptr).rowCount() == state.range(0); });
}

void save(benchmark::State& state)
{
    KyVisa::ConfigurationFile& store = loadedStore(state);
    // Without a model that shows the entries, the store would search the old file for lines that nobody has seen.
    const ConfigurationModel model(nullptr);
    const std::uintmax_t size = std::filesystem::file_size(store.m_fileName);
    store.m_fileName = "saved.conf";
    // The first save makes the file. The others replace it.
    store.save();
    const auto nothing = [] {};
    measure(state, nothing, [&] {
        store.save();
        return std::filesystem::file_size(store.m_fileName) == size;
    });
}

void floorLoad(benchmark::State& state)
{
    std::unordered_map<std::string, std::string> map;
    const auto clear = [&] { map = {}; };
    measure(state, clear, [&] {
        map.reserve(static_cast<std::size_t>(state.range(0)));
        std::ifstream file(fileName(state, ".conf"), std::ios::binary);
        for (std::string line; std::getline(file, line);)
        {
            const std::size_t separator = std::min(line.find('='), line.size());
            map.emplace(line.substr(0, separator), line.substr(separator));
        }
        return static_cast<std::int64_t>(map.size()) >= state.range(0);
    });
}

auto loadedKeyFile(const benchmark::State& state)
{
    std::unique_ptr<GKeyFile, void (*)(GKeyFile*)> file(g_key_file_new(), g_key_file_free);
    g_key_file_load_from_file(file.get(), fileName(state, ".ini").c_str(), G_KEY_FILE_NONE, nullptr);
    return file;
}

void keyFileLoad(benchmark::State& state)
{
    auto file = loadedKeyFile(state);
    const auto clear = [&] { file.reset(); };
    measure(state, clear, [&] {
        file = loadedKeyFile(state);
        return g_key_file_has_key(file.get(), "aliases", "ALIAS1", nullptr) == TRUE;
    });
}

/// Syncs the file and its folder, as the store does.
void keyFileSave(benchmark::State& state)
{
    constexpr auto synced =
        static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE);
    const auto file = loadedKeyFile(state);
    for ([[maybe_unused]] auto _ : state)
    {
        const std::unique_ptr<gchar, void (*)(void*)> text(g_key_file_to_data(file.get(), nullptr, nullptr), g_free);
        const int folder = ::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (g_file_set_contents_full("saved.ini", text.get(), -1, synced, 0600, nullptr) == FALSE ||
            ::fsync(folder) != 0 || ::close(folder) != 0)
            return state.SkipWithError("the work was not done");
    }
}

void settingsLoad(benchmark::State& state)
{
    std::optional<QSettings> settings;
    const auto clear = [&] { settings.reset(); };
    measure(state, clear, [&] {
        settings.emplace(QString::fromStdString(fileName(state, ".ini")), QSettings::IniFormat);
        // The first question about a group parses the whole group.
        return settings->contains(QStringLiteral("aliases/ALIAS1"));
    });
}

void atCounts(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(load)->Apply(atCounts)->Arg(100'000);
BENCHMARK(rows)->Apply(atCounts)->Arg(100'000);
BENCHMARK(save)->Apply(atCounts)->Arg(100'000);
BENCHMARK(floorLoad)->Apply(atCounts);
BENCHMARK(keyFileLoad)->Apply(atCounts);
BENCHMARK(keyFileSave)->Apply(atCounts);
// Not at 10, because Qt keeps a shorter file in memory after closing it.
BENCHMARK(settingsLoad)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);
