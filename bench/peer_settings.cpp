// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Qt's QSettings on the same entries in an INI file.

#include "Entries.h"

#include <QSettings>

#include <optional>

namespace
{

void settingsLoad(benchmark::State& state)
{
    const std::int64_t count = state.range(0);
    const auto name =
        QString::fromStdString(entries::file("settings-" + std::to_string(count) + ".ini", count, "[aliases]\n", true));
    std::optional<QSettings> settings;
    entries::measure(
        state, [&] { settings.reset(); },
        [&] {
            settings.emplace(name, QSettings::IniFormat);
            // It parses a group when it is asked for it. What is in the file it says in no other way.
            if (settings->allKeys().size() != count)
                state.SkipWithError("the file was not read");
        });
}

} // namespace

BENCHMARK(settingsLoad)->Apply(entries::atAllCounts);
