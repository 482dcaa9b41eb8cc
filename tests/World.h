// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

// Every case runs in a process of its own, because the store is a singleton. It has a home and a settings store of its
// own, the offscreen platform, and a working directory of its own, where the scripted libkyvisa.so keeps its files.

/// The per-user visa.conf.
std::filesystem::path perUserFile();

void writeFile(const std::filesystem::path& path, const std::string& text);
std::string readFile(const std::filesystem::path& path);

/// Writes the version line and `lines` to the per-user visa.conf. Each call sets a time one second later, because the
/// store compares whole seconds.
void writeConfiguration(const std::string& lines);

/// A row of a table of texts: a case that fails by its own name.
struct Row
{
    const char* name;
    std::string text;
    std::string expected;

    friend std::ostream& operator<<(std::ostream& stream, const Row& row) { return stream << row.name; }
};

using Table = ::testing::TestWithParam<Row>;

/// TABLE(Suite, Test, Row{...}, ...) { the test of a row }
#define TABLE(table, test, ...)                                                                                        \
    using table = Table;                                                                                               \
    INSTANTIATE_TEST_SUITE_P(, table, ::testing::Values(__VA_ARGS__), [](const auto& row) { return row.param.name; }); \
    TEST_P(table, test)
