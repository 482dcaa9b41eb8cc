// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

class QModelIndex;
class QTableView;

/// Columns that are as wide as the texts in all of their rows.
namespace gui
{

/// Does what the table's function does, without the layout of every text. That would delay the start.
void resizeColumnsToContents(QTableView& table);

/// Widens the column of a cell if its text needs that. No column becomes narrower.
void widenColumn(QTableView& table, const QModelIndex& cell);

} // namespace gui
