// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>

#include <benchmark/benchmark.h>

#include <valgrind/callgrind.h>

/// What all benchmarks of files read and write: four aliases to each resource without one.
namespace entries
{

/// The number of entries that the table's main rows are about: $ENTRIES, or 250,000.
[[nodiscard]] std::int64_t mainCount();

/// Runs a benchmark at the main number and at 1, 10, 40, 100 and 400 of 250 parts of it.
void atAllCounts(benchmark::internal::Benchmark* benchmark);
void atMainCount(benchmark::internal::Benchmark* benchmark);
/// At 40 and 400 of 250 parts.
void atTenfoldCounts(benchmark::internal::Benchmark* benchmark);

[[nodiscard]] std::string aliasName(std::int64_t number);

/// Writes a file in the working directory, unless it is there, and returns its name. `header` goes first. Where
/// `everyLineNamed` is set, a resource without alias gets a name as well, for formats that know no other lines.
std::string file(const std::string& name, std::int64_t count, const std::string& header, bool everyLineNamed);

/// The file of `count` entries in this program's own format.
std::string ownFile(std::int64_t count);

/// Runs the work once for each iteration. Preparing is neither timed nor counted.
template <typename Prepare, typename Work>
void measure(benchmark::State& state, Prepare prepare, Work work)
{
    for ([[maybe_unused]] auto _ : state)
    {
        state.PauseTiming();
        prepare();
        state.ResumeTiming();
        // Does nothing where the program does not run under callgrind.
        CALLGRIND_START_INSTRUMENTATION;
        work();
        CALLGRIND_STOP_INSTRUMENTATION;
    }
}

} // namespace entries
