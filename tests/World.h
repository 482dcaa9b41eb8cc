// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

// Every case runs in a process of its own, because the store is a singleton. It has a home and a settings store of its
// own, the offscreen platform, and a working directory of its own, where the scripted libkyvisa.so keeps its files.

/// The per-user visa.conf.
std::filesystem::path configurationFile();

void writeFile(const std::filesystem::path& path, const std::string& text);
std::string readFile(const std::filesystem::path& path);

/// Writes the per-user visa.conf, the version line and `lines`, as of an hour ago or, the next time, a second less: the
/// store tells loads apart by whole seconds.
void writeConfiguration(const std::string& lines);
