// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ResourceExpression.h"

#include "config/ModernConfigurationFile.h"

#include <string_view>

namespace standin
{

namespace
{

re2::RE2::Options options()
{
    re2::RE2::Options options(re2::RE2::Latin1);
    options.set_dot_nl(true);
    options.set_log_errors(false);
    return options;
}

std::string literal(char character)
{
    return re2::RE2::QuoteMeta(re2::StringPiece(&character, 1));
}

/// Translates to RE2's syntax. For a malformed expression, returns a pattern that RE2 rejects.
std::string translate(const std::string& expression)
{
    constexpr std::string_view sameInBoth = "*+()|";
    const std::string malformed = "(";
    std::string pattern;
    bool inSet = false;
    for (std::size_t at = 0; at < expression.size(); ++at)
    {
        const char character = expression[at];
        if (character == '\\')
        {
            if (++at == expression.size())
                return malformed;
            pattern += literal(expression[at]);
        }
        else if (inSet)
        {
            inSet = character != ']';
            pattern += inSet && character != '-' ? literal(character) : std::string(1, character);
        }
        else if (character == '[')
        {
            inSet = true;
            pattern += character;
            if (expression[at + 1] == '^') // at the end, this is the NUL
                pattern += expression[++at];
        }
        else if (character == '{' || character == '}' || character == ']')
            return malformed;
        else if (character == '?')
            pattern += '.';
        else if (sameInBoth.find(character) != std::string_view::npos)
            pattern += character;
        else
            pattern += literal(character);
    }
    return pattern;
}

} // namespace

ResourceExpression::ResourceExpression(const std::string& expression)
    : m_pattern(translate(KyVisa::ModernConfigurationFile::upperCase(expression)), options())
{
}

bool ResourceExpression::isValid() const
{
    return m_pattern.ok();
}

bool ResourceExpression::matches(const std::string& name) const
{
    return re2::RE2::FullMatch(KyVisa::ModernConfigurationFile::upperCase(name), m_pattern);
}

bool ResourceExpression::mayMatchAfter(const std::string& beginning) const
{
    std::string first;
    std::string last;
    const std::string asked = KyVisa::ModernConfigurationFile::upperCase(beginning);
    const bool isLimited = m_pattern.PossibleMatchRange(&first, &last, static_cast<int>(asked.size()) + 1);
    return !isLimited || (first <= asked + '\xFF' && asked <= last);
}

} // namespace standin
