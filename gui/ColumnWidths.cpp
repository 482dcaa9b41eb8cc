// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ColumnWidths.h"

#include <QHeaderView>
#include <QTableView>

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

namespace gui
{

void resizeColumnsToContents(QTableView& table)
{
    QHeaderView& header = *table.horizontalHeader();
    const int precision = header.resizeContentsPrecision();
    header.setResizeContentsPrecision(1);
    table.resizeColumnsToContents();
    header.setResizeContentsPrecision(precision);

    // Measure each character once, add up the widths, and lay out the texts with the largest sums. One is not enough,
    // because kerning can change the order.
    const QAbstractItemModel& model = *table.model();
    const QFontMetrics font = table.fontMetrics();
    std::array<int, 256> widths = {}; // of Latin-1 characters; the file contains no others
    for (int column = 0; column < model.columnCount(); ++column)
    {
        std::array<std::pair<int, int>, 5> widest = {}; // (sum, row)
        for (int row = 0; row < model.rowCount(); ++row)
        {
            const QString text = model.index(row, column).data().toString();
            int sum = 0;
            for (const QChar character : text)
            {
                int& width = widths[character.cell()];
                if (width == 0)
                    width = font.horizontalAdvance(character);
                sum += width;
            }
            if (sum > widest.back().first)
            {
                widest.back() = {sum, row};
                std::sort(widest.begin(), widest.end(), std::greater<>());
            }
        }
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
