// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// From the start of a process to its first painted frame: wall time, processor time and peak memory. $PROGRAM and
// $EMPTY_WINDOW name the programs; $FIRST_FRAME is preloaded and ends them.

#include <array>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

double seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

std::vector<std::string> environmentOfChild()
{
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
        variables.emplace_back(*variable);
    variables.push_back(std::string("LD_PRELOAD=") + std::getenv("FIRST_FRAME"));
    return variables;
}

void start(benchmark::State& state, const char* variable, const char* argument)
{
    std::string program = std::getenv(variable);
    std::string option = argument == nullptr ? "" : argument;
    std::array<char*, 3> arguments = {program.data(), argument == nullptr ? nullptr : option.data(), nullptr};
    std::vector<std::string> variables = environmentOfChild();
    std::vector<char*> environment;
    for (std::string& text : variables)
        environment.push_back(text.data());
    environment.push_back(nullptr);

    double cpu = 0;
    double memory = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        const auto begin = std::chrono::steady_clock::now();
        pid_t child = -1;
        int status = -1;
        rusage usage = {};
        if (::posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments.data(), environment.data()) != 0 ||
            ::wait4(child, &status, 0, &usage) != child || status != 0)
        {
            state.SkipWithError("the program did not get as far as its first frame");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
        cpu += seconds(usage.ru_utime) + seconds(usage.ru_stime);
        memory = static_cast<double>(usage.ru_maxrss);
    }
    state.counters["cpu"] = benchmark::Counter(cpu, benchmark::Counter::kAvgIterations);
    state.counters["memory"] = memory;
}

} // namespace

BENCHMARK_CAPTURE(start, program, "PROGRAM", nullptr)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(start, emptyWindow, "EMPTY_WINDOW", nullptr)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(start, emptyRaster, "EMPTY_WINDOW", "raster")->UseManualTime()->Unit(benchmark::kMillisecond);
