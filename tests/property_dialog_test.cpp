// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/ConfigurationModel.h"
#include "gui/GpibBoards.h"
#include "gui/PropertyDialog.h"

#include <QAction>
#include <QComboBox>
#include <QTreeWidget>

#include <gmock/gmock.h>

using gui::PropertyDialog;
using KyVisa::GpibPropertiesMap;
using KyVisa::SerialPropertiesMap;

namespace
{

QTreeWidgetItem& row(const QTreeWidget& tree, int board)
{
    return *tree.topLevelItem(board)->child(0);
}

std::string texts(const QTreeWidget& tree)
{
    QString result;
    for (int board = 0; board < tree.topLevelItemCount(); ++board)
        result += QString("%1: %2 %3 %4; ")
                      .arg(tree.topLevelItem(board)->text(0), row(tree, board).text(0), row(tree, board).text(1))
                      .arg(row(tree, board).checkState(2));
    return result.toStdString();
}

} // namespace

TABLE(GpibNumbers, FollowTheLargest, Row{"First", "", "0new "}, Row{"Gap", "0 5", "0 5 6new "},
      Row{"LastIsTaken", "0 65535", "0 1new 65535 "}, Row{"LastAlone", "65535", "0new 65535 "},
      Row{"LastIsReplaced", "65534 65535", "65534 65535new "})
{
    GpibPropertiesMap boards;
    for (const QString& number : QString::fromStdString(GetParam().text).split(' ', Qt::SkipEmptyParts))
        boards[number.toUShort()] = {1, 1, 0};
    gui::addGpibBoard(boards);
    std::string numbers;
    for (const auto& [number, board] : boards)
        numbers += std::to_string(number) + (board == KyVisa::SGpibProperties() ? "new " : " ");
    EXPECT_EQ(numbers, GetParam().expected);
}

TEST(GpibPage, TakesEditsAndResetsTheSecondaryAddress)
{
    ConfigurationModel model(nullptr);
    const GpibPropertiesMap boards = {{1, {9, 3, 0}}, {3, {0, 4, 1}}, {8, {8, 4, 2}}};
    model.m_gpibProperties = boards;
    PropertyDialog dialog(model, nullptr);
    auto& tree = *dialog.findChild<QTreeWidget*>();
    const std::string before = "Device 1: 1 9 0; Device 3: 3 0 2; Device 8: 8 8 0; ";
    EXPECT_EQ(texts(tree), before);
    EXPECT_EQ(tree.headerItem()->text(1), "Primary Address");
    EXPECT_FALSE(tree.isHeaderHidden());
    row(tree, 0).setText(1, "abc");
    row(tree, 0).setText(0, "7x");
    tree.topLevelItem(1)->setText(0, "Device");
    dialog.removeDevice();
    EXPECT_EQ(texts(tree), before);
    row(tree, 2).setText(1, "-1");
    row(tree, 1).setCheckState(2, Qt::Unchecked);
    dialog.findChild<QAction*>("actionAdd_Device")->trigger();
    EXPECT_EQ(texts(tree), "Device 1: 1 9 0; Device 3: 3 0 0; Device 8: 8 65535 0; Device 9: 9 0 2; ");
    row(tree, 0).setText(0, "65539");
    EXPECT_EQ(texts(tree), "Device 3: 3 9 0; Device 8: 8 65535 0; Device 9: 9 0 2; ");
    tree.setCurrentItem(&row(tree, 1));
    dialog.findChild<QAction*>("actionRemove_Device")->trigger();
    EXPECT_TRUE(row(tree, 1).flags() & Qt::ItemIsEditable);
    EXPECT_EQ(model.m_gpibProperties, boards);
    dialog.accept();
    EXPECT_EQ(model.m_gpibProperties, (GpibPropertiesMap{{3, {9, 65535, 0}}, {9, {}}}));
    EXPECT_TRUE(model.isDirty());
}

const std::string onePort = "resource ASRL1::INSTR\nresource USB\n";
const std::string twoPorts = "resource ASRL20::INSTR\nresource ASRL3::INSTR\n";
const std::string bothCalls =
    "viParseRsrc 1 ASRL20::INSTR;viFindNext 2;viParseRsrc 1 ASRL3::INSTR;viFindNext 2;viClose 2;viClose 1;";

TABLE(SerialSearch, StopsAtTheFirstStatus, Row{"Two", twoPorts, bothCalls + " ASRL20::INSTR ASRL3::INSTR 20"},
      Row{"None", "resource USB\n", "viClose 1; disabled"}, Row{"Error", onePort + "find -1\n", "viClose 1; disabled"},
      Row{"Warning", twoPorts + "find 1\n", bothCalls + " ASRL20::INSTR ASRL3::INSTR 20"},
      Row{"CountOfNone", onePort + "count 0\n", "viClose 2;viClose 1; disabled"},
      Row{"CountTooLarge", onePort + "count 9\n",
          "viParseRsrc 1 ASRL1::INSTR;viFindNext 2;viClose 2;viClose 1; ASRL1::INSTR 1"},
      Row{"WarningForTheSecond", twoPorts + "next1 1\n",
          "viParseRsrc 1 ASRL20::INSTR;viFindNext 2;viClose 2;viClose 1; ASRL20::INSTR 20"})
{
    scriptVisa("handle 0\n" + GetParam().text);
    ConfigurationModel model(nullptr);
    takeVisaCalls();
    PropertyDialog dialog(model, nullptr);
    std::string result = visaCallsAfter("viOpenDefaultRM 1;viSetAttribute 1 0x0F9C0002 0;viFindRsrc 1 ASRL?*;");
    const auto* ports = dialog.findChild<QComboBox*>("comboBoxSerialInterface");
    for (int port = 0; port < ports->count(); ++port)
        result += " " + ports->itemText(port).toStdString();
    result += dialog.findChild<QWidget*>("tabAsrlProperties")->isEnabled() ? "" : " disabled";
    dialog.accept();
    for (const auto& port : model.m_serialProperties)
        result += " " + std::to_string(port.first);
    EXPECT_EQ(result, GetParam().expected);
}

TEST(SerialPage, ShowsWhatItsListsDoNotHave)
{
    scriptVisa("resource ASRL1::INSTR\nresource ASRL20::INSTR\n");
    ConfigurationModel model(nullptr);
    model.m_serialProperties = {{7, {1, 2, 3, 4, 5}}, {20, {250000, 9, 3, 5, 4}}};
    PropertyDialog dialog(model, nullptr);
    dialog.findChild<QComboBox*>("comboBoxSerialInterface")->setCurrentIndex(1);
    for (const auto& [box, shown] : {std::pair("Baudrate", "250000"), std::pair("Databits", "9")})
    {
        const auto* list = dialog.findChild<QComboBox*>(QString("comboBoxKy") + box);
        EXPECT_EQ(list->currentText(), shown);
        EXPECT_EQ(list->currentIndex(), 0);
    }
    dialog.accept();
    EXPECT_EQ(model.m_serialProperties,
              (SerialPropertiesMap{{1, {}}, {7, {1, 2, 3, 4, 5}}, {20, {250000, 9, 255, 255, 6}}}));
    EXPECT_TRUE(model.isDirty());
}
