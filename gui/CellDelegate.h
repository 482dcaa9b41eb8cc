// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QStyledItemDelegate>

namespace gui
{

/// Shows and edits the texts of the main window's table.
class CellDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    /// Shortens a very long text. The layout of a line of megabytes takes seconds.
    [[nodiscard]] QString displayText(const QVariant& value, const QLocale& locale) const override;
    [[nodiscard]] QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                        const QModelIndex& index) const override;
};

} // namespace gui
