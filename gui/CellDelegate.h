// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa/visa.h"

#include <QLineEdit>
#include <QStyledItemDelegate>

#include <limits>

namespace gui
{

/// Shortens very long texts in the table, because the layout of a text of megabytes takes seconds.
class CellDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    [[nodiscard]] QString displayText(const QVariant& value, const QLocale& /*locale*/) const override
    {
        constexpr int longestName = VI_FIND_BUFLEN - 1;
        const QString text = value.toString();
        return text.size() <= longestName ? text : text.left(longestName) + QChar(0x2026);
    }

    [[nodiscard]] QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                        const QModelIndex& index) const override
    {
        QWidget* editor = QStyledItemDelegate::createEditor(parent, option, index);
        // The default limit would cut a longer text.
        if (auto* edit = qobject_cast<QLineEdit*>(editor))
            edit->setMaxLength(std::numeric_limits<int>::max());
        return editor;
    }
};

} // namespace gui
