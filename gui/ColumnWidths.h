// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

class QModelIndex;
class QTableView;

namespace gui
{

/// Makes each column as wide as its widest text. Lays out only a few texts, because all of them would delay the start.
void resizeColumnsToContents(QTableView& table);

/// Widens the column of a cell if its text needs that. No column becomes narrower.
void widenColumn(QTableView& table, const QModelIndex& cell);

} // namespace gui
