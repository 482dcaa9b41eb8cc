// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include <valgrind/callgrind.h>

/// The files that the benchmarks read and write: one resource without alias before every four aliases.
namespace entries
{

/// The number of entries in the table's main rows: $ENTRIES, or 250,000.
[[nodiscard]] std::int64_t mainCount();

/// Runs a benchmark with 1, 10, 40, 100, 250 and 400 parts of mainCount() / 250 entries.
void atAllCounts(benchmark::internal::Benchmark* benchmark);
void atMainCount(benchmark::internal::Benchmark* benchmark);
/// Runs it with 40 and 400 such parts.
void atTenfoldCounts(benchmark::internal::Benchmark* benchmark);

[[nodiscard]] std::string aliasName(std::int64_t number);

/// Writes a file into the working directory, unless it exists, and returns its name. The file begins with `header`. If
/// `everyLineNamed` is set, a resource without alias has a name as well: some formats need one in each line.
std::string file(const std::string& name, std::int64_t count, const std::string& header, bool everyLineNamed);

/// The file of `count` entries in this program's own format.
std::string ownFile(std::int64_t count);

/// Syncs the working directory, so that a renamed file stays renamed. Returns false where that fails.
[[nodiscard]] bool syncFolder();

/// Runs the work once for each iteration. Preparing is neither timed nor counted.
template <typename Prepare, typename Work>
void measure(benchmark::State& state, Prepare prepare, Work work)
{
    for ([[maybe_unused]] auto _ : state)
    {
        state.PauseTiming();
        prepare();
        state.ResumeTiming();
        // Does nothing unless the program runs under callgrind.
        CALLGRIND_START_INSTRUMENTATION;
        work();
        CALLGRIND_STOP_INSTRUMENTATION;
    }
}

} // namespace entries
