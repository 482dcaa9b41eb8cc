// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

class QString;
class QTabWidget;
class QWidget;

/// The size and place that every window keeps between runs, in one settings group per window.
namespace gui
{

enum class MaximizedState
{
    Ignored,
    Remembered
};

/// Centres the window on the default screen and then gives it the stored size and place; a window that was stored
/// as maximised is shown so, at once. With `tabs`, makes the stored tab current.
void restoreWindowSettings(QWidget& window, const QString& group, MaximizedState maximized, QTabWidget* tabs = nullptr);

/// Stores size and place, with `tabs` also its current index.
void saveWindowSettings(const QWidget& window, const QString& group, MaximizedState maximized,
                        const QTabWidget* tabs = nullptr);

} // namespace gui
