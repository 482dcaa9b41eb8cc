// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QTemporaryDir>

#include <filesystem>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

/// The surroundings of a test case: a home, a working directory and a settings store of its own, the offscreen
/// platform, and the scripted libkyvisa.so, which finds nothing until it is told. Every case runs in a process of its
/// own, because the store is a singleton.
class World
{
public:
    World();
    ~World();

    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// The per-user visa.conf.
    static std::filesystem::path configurationFile();
    static std::filesystem::path settingsFile();
    /// Where the scripted libkyvisa.so logs its calls.
    static std::filesystem::path callLog();

private:
    QTemporaryDir m_directory;
};

void writeFile(const std::filesystem::path& path, const std::string& text);
std::string readFile(const std::filesystem::path& path);

/// Writes the per-user visa.conf, the version line and `lines`, as of an hour ago or, the next time, a second less: the
/// store tells loads apart by whole seconds.
void writeConfiguration(const std::string& lines);

/// Tells the scripted libkyvisa.so what to do from its next session on.
void scriptVisa(const std::string& lines);
/// The calls that it has logged since it was asked last, as lines.
std::string takeVisaCalls();
/// takeVisaCalls() in one line, without the calls that every such action begins with. Their lack fails the case.
std::string visaCallsAfter(const std::string& beginning);

/// A row of a table of texts: a case that fails by its own name.
struct Row
{
    const char* name;
    std::string text;
    std::string expected;
};

std::ostream& operator<<(std::ostream& stream, const Row& row);

using Table = ::testing::TestWithParam<Row>;

/// TABLE(Suite, Test, Row{...}, ...) { the test of a row }
#define TABLE(table, test, ...)                                                                                        \
    class table : public Table                                                                                         \
    {                                                                                                                  \
    };                                                                                                                 \
    INSTANTIATE_TEST_SUITE_P(, table, ::testing::Values(__VA_ARGS__), [](const auto& row) { return row.param.name; }); \
    TEST_P(table, test)
