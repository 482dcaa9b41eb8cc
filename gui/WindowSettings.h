// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

class QString;
class QTabWidget;
class QWidget;

/// Keeps the size and position of each window from one run to the next, in one settings group per window.
namespace gui
{

enum class MaximizedState
{
    Ignored,
    Remembered
};

/// Centres the window on the default screen, then applies the stored size and position. Shows a window at once if it
/// was stored as maximised. With `tabs`, makes the stored tab current.
void restoreWindowSettings(QWidget& window, const QString& group, MaximizedState maximized, QTabWidget* tabs = nullptr);

/// Stores size and position, and the current index of `tabs`.
void saveWindowSettings(const QWidget& window, const QString& group, MaximizedState maximized,
                        const QTabWidget* tabs = nullptr);

} // namespace gui
