// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringList>

#include <string>
#include <vector>

/// Expects what a file says. Each line is a call and, after "->", its answer. "%E9" is a byte, "@129x" is 129 times x.
void expectAnswers(const std::string& file, std::string (*answer)(const QStringList& call));

/// The texts that are not empty, with a blank between them.
std::string joined(const std::vector<std::string>& texts);
