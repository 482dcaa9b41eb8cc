// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ColumnWidths.h"

#include <QHeaderView>
#include <QStyledItemDelegate>
#include <QTableView>

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

namespace gui
{

void resizeColumnsToContents(QTableView& table)
{
    // Measure each character once, add up the widths, and lay out the texts with the largest sums. One is not enough,
    // because kerning can change the order.
    table.ensurePolished();
    const QAbstractItemModel& model = *table.model();
    const auto& delegate = dynamic_cast<const QStyledItemDelegate&>(*table.itemDelegate());
    std::array<int, 256> widths = {}; // of Latin-1 characters; the file contains no others
    for (int column = 0; column < model.columnCount(); ++column)
    {
        std::array<std::pair<int, int>, 5> widest = {}; // (sum, row)
        for (int row = 0; row < model.rowCount(); ++row)
        {
            const QString text = delegate.displayText(model.index(row, column).data(), QLocale());
            int sum = 0;
            for (const QChar character : text)
            {
                int& width = widths[character.cell()];
                if (width == 0)
                    width = table.fontMetrics().horizontalAdvance(character);
                sum += character == QChar::Tabulation ? 80 - sum % 80 : width; // QTextOption stops every 80
            }
            if (sum > widest.back().first)
            {
                widest.back() = {sum, row};
                std::sort(widest.begin(), widest.end(), std::greater<>());
            }
        }
        // The table's own function would not make a stretched section remember its width.
        table.setColumnWidth(column, table.horizontalHeader()->sectionSizeHint(column));
        for (const auto& sumAndRow : widest)
            widenColumn(table, model.index(sumAndRow.second, column));
    }
}

void widenColumn(QTableView& table, const QModelIndex& cell)
{
    constexpr int gridLineWidth = 1;
    const int needed = table.sizeHintForIndex(cell).width() + gridLineWidth;
    if (needed > table.columnWidth(cell.column()))
        table.setColumnWidth(cell.column(), needed);
}

} // namespace gui
