// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "CellDelegate.h"

#include "visa/visa.h"

#include <QLineEdit>

#include <limits>

namespace gui
{

QString CellDelegate::displayText(const QVariant& value, const QLocale& /*locale*/) const
{
    constexpr int longestName = VI_FIND_BUFLEN - 1;
    const QString text = value.toString();
    return text.size() <= longestName ? text : text.left(longestName) + QChar(0x2026);
}

QWidget* CellDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QWidget* editor = QStyledItemDelegate::createEditor(parent, option, index);
    // The default limit would cut a longer text.
    if (auto* edit = qobject_cast<QLineEdit*>(editor))
        edit->setMaxLength(std::numeric_limits<int>::max());
    return editor;
}

} // namespace gui
