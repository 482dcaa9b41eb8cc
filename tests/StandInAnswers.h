// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringList>

#include <string>
#include <vector>

/// Checks the calls in a file. Each line is a call and, after "->", its answer. "%E9" is a byte, "x@129" is 129 times
/// x. A word with ";" has choices: the line is a call for each, and has all answers.
void expectAnswers(const std::string& file, std::vector<std::string> (*answer)(const QStringList& call));
