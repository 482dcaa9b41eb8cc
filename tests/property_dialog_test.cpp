// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/ConfigurationModel.h"
#include "gui/GpibBoards.h"
#include "gui/PropertyDialog.h"

#include <QAction>
#include <QComboBox>
#include <QTreeWidget>

#include <set>

using gui::PropertyDialog;
using KyVisa::GpibPropertiesMap;
using KyVisa::SerialPropertiesMap;

namespace
{

QTreeWidgetItem& row(const QTreeWidget& tree, int board)
{
    return *tree.topLevelItem(board)->child(0);
}

QString texts(const QTreeWidget& tree)
{
    QString result;
    for (int board = 0; board < tree.topLevelItemCount(); ++board)
        result += QString("%1: %2 %3 %4; ")
                      .arg(tree.topLevelItem(board)->text(0), row(tree, board).text(0), row(tree, board).text(1))
                      .arg(row(tree, board).checkState(2));
    return result;
}

} // namespace

TEST(GpibNumbers, FollowTheLargest)
{
    using Rows = std::vector<std::pair<std::set<std::uint16_t>, std::uint16_t>>;
    for (const auto& [numbers, added] :
         Rows{{{}, 0}, {{0, 5}, 6}, {{0, 65535}, 1}, {{65535}, 0}, {{65534, 65535}, 65535}})
    {
        GpibPropertiesMap boards;
        for (const std::uint16_t number : numbers)
            boards[number] = {1, 1, 0};
        gui::addGpibBoard(boards);
        EXPECT_EQ(boards.at(added), KyVisa::SGpibProperties()) << added;
    }
}

TEST(GpibPage, TakesEditsAndResetsTheSecondaryAddress)
{
    ConfigurationModel model(nullptr);
    model.m_gpibProperties = {{1, {9, 3, 1}}, {3, {0, 4, 1}}, {8, {8, 4, 2}}};
    PropertyDialog dialog(model, nullptr);
    auto& tree = *dialog.findChild<QTreeWidget*>();
    const QString before = "Device 1: 1 9 2; Device 3: 3 0 2; Device 8: 8 8 0; ";
    EXPECT_EQ(texts(tree), before);
    EXPECT_EQ(tree.headerItem()->text(1), "Primary Address");
    EXPECT_FALSE(tree.isHeaderHidden());
    tree.topLevelItem(1)->setText(0, "Device");
    EXPECT_EQ(texts(tree), before);
    row(tree, 0).setText(0, "7x");
    row(tree, 0).setText(1, "abc");
    dialog.removeDevice();
    EXPECT_EQ(texts(tree), before);
    row(tree, 2).setText(1, "-1");
    row(tree, 1).setCheckState(2, Qt::Unchecked);
    dialog.findChild<QAction*>("actionAdd_Device")->trigger();
    EXPECT_EQ(texts(tree), "Device 1: 1 9 2; Device 3: 3 0 0; Device 8: 8 65535 0; Device 9: 9 0 2; ");
    row(tree, 0).setText(0, "65539");
    EXPECT_EQ(texts(tree), "Device 3: 3 9 2; Device 8: 8 65535 0; Device 9: 9 0 2; ");
    tree.setCurrentItem(&row(tree, 1));
    dialog.findChild<QAction*>("actionRemove_Device")->trigger();
    EXPECT_EQ(texts(tree), "Device 3: 3 9 2; Device 9: 9 0 2; ");
    EXPECT_TRUE(row(tree, 1).flags().testFlag(Qt::ItemIsEditable));
    EXPECT_FALSE(model.isDirty());
    dialog.accept();
    EXPECT_EQ(model.m_gpibProperties, (GpibPropertiesMap{{3, {9, 65535, 1}}, {9, {}}}));
    EXPECT_TRUE(model.isDirty());
}

TEST(SerialPage, ShowsWhatItsListsDoNotHave)
{
    writeFile("script", "resource ASRL1::INSTR\nresource ASRL20::INSTR\n");
    ConfigurationModel model(nullptr);
    model.m_serialProperties = {{7, {1, 2, 3, 4, 5}}, {20, {250000, 9, 3, 5, 4}}};
    PropertyDialog dialog(model, nullptr);
    dialog.findChild<QComboBox*>("comboBoxSerialInterface")->setCurrentIndex(1);
    EXPECT_EQ(dialog.findChild<QComboBox*>("comboBoxKyBaudrate")->currentText(), "250000");
    EXPECT_EQ(dialog.findChild<QComboBox*>("comboBoxKyBaudrate")->currentIndex(), 0);
    dialog.accept();
    EXPECT_EQ(model.m_serialProperties,
              (SerialPropertiesMap{{1, {}}, {7, {1, 2, 3, 4, 5}}, {20, {250000, 9, 255, 255, 6}}}));
    EXPECT_TRUE(model.isDirty());
}
