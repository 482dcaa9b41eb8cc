// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Entries.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

namespace entries
{

namespace
{

constexpr std::int64_t entriesToOneResource = 5;

void atParts(benchmark::internal::Benchmark* benchmark, std::initializer_list<std::int64_t> parts)
{
    for (const std::int64_t part : parts)
        benchmark->Arg(mainCount() * part / 250);
    benchmark->Unit(benchmark::kMillisecond);
}

} // namespace

std::int64_t mainCount()
{
    const char* count = std::getenv("ENTRIES");
    return count == nullptr ? 250'000 : std::atoll(count);
}

void atAllCounts(benchmark::internal::Benchmark* benchmark)
{
    atParts(benchmark, {1, 10, 40, 100, 250, 400});
}

void atMainCount(benchmark::internal::Benchmark* benchmark)
{
    atParts(benchmark, {250});
}

void atTenfoldCounts(benchmark::internal::Benchmark* benchmark)
{
    atParts(benchmark, {40, 400});
}

std::string aliasName(std::int64_t number)
{
    return "ALIAS" + std::to_string(number);
}

std::string file(const std::string& name, std::int64_t count, const std::string& header, bool everyLineNamed)
{
    if (std::filesystem::exists(name))
        return name;
    std::ofstream lines(name, std::ios::binary);
    lines << header;
    for (std::int64_t number = 0; number < count; ++number)
    {
        if (number % entriesToOneResource != 0)
            lines << aliasName(number) << "=TCPIP0::192.168." << number / 250 % 250 << '.' << number % 250
                  << "::hislip0::INSTR\n";
        else
            lines << (everyLineNamed ? "resource" + std::to_string(number) + '=' : "") << "USB0::0x1AB1::0x0588::SERIAL"
                  << number << "::INSTR\n";
    }
    return name;
}

std::string ownFile(std::int64_t count)
{
    return file("own-" + std::to_string(count), count, ":KyVisaConfigurationFileVersion01\n:Provider=3996\n", false);
}

bool syncFolder()
{
    const int folder = ::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = ::fsync(folder) == 0;
    ::close(folder);
    return synced;
}

} // namespace entries
