// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include <re2/re2.h>

namespace standin
{

/// A VISA search expression (VPP-4.3, "viFindRsrc"). It matches whole resource names, in any letter case.
///
/// `?` is any character, `*` and `+` repeat the character or group before them, `\` takes the next character
/// literally. `[abc]`, `[a-z]`, `[^a]`, `(…)` and `a|b` are as usual. Any other character matches itself. An expression
/// with the optional attribute part in braces is malformed here. Matching takes time linear in the name's length.
class ResourceExpression
{
public:
    explicit ResourceExpression(const std::string& expression);

    /// Returns false for a malformed expression.
    [[nodiscard]] bool isValid() const;
    [[nodiscard]] bool matches(const std::string& name) const;
    /// Returns false only if no name with this beginning can match.
    [[nodiscard]] bool mayMatchAfter(const std::string& beginning) const;

private:
    re2::RE2 m_pattern; ///< for names in upper case
};

} // namespace standin
