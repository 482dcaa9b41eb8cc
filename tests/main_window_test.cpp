// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/ConfigurationModel.h"
#include "gui/MainWindow.h"
#include "gui/PropertyDialog.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QStyledItemDelegate>
#include <QTableView>

using Model = ConfigurationModel;

TEST(Model, LabelsItsColumnsAndSignalsItsRowsOneBeyondTheLast)
{
    writeConfiguration("R\nS\n");
    Model model(nullptr);
    QStringList log;
    const auto noted = [&log](const char* name) {
        return [&log, name](auto, int first, int last) { log += QString("%1 %2-%3").arg(name).arg(first).arg(last); };
    };
    QObject::connect(&model, &Model::rowsAboutToBeRemoved, noted("removing"));
    QObject::connect(&model, &Model::rowsRemoved, noted("removed"));
    QObject::connect(&model, &Model::rowsInserted, noted("inserted"));
    QObject::connect(&model, &Model::headerDataChanged, noted("header"));
    QObject::connect(&model, &Model::dataChanged, [&](const QModelIndex& first, const QModelIndex& last) {
        noted("data")(first, first.row() + first.column(), last.row() * 10 + last.column());
    });
    QObject::connect(&model, &Model::dirtyHasChanged, [&](bool isDirty) { log += isDirty ? "dirty" : "clean"; });
    QObject::connect(&model, &Model::editCompleted, [&](const QString& text) { log += "edited " + text; });

    EXPECT_EQ(model.headerData(0, Qt::Horizontal), "Resource identifier");
    EXPECT_EQ(model.headerData(1, Qt::Horizontal), "Alias");
    EXPECT_FALSE(model.headerData(0, Qt::Vertical).isValid());
    EXPECT_FALSE(model.headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());
    EXPECT_TRUE(model.setData(model.index(0, 0), " R ", Qt::EditRole));
    EXPECT_TRUE(model.setData(model.index(0, 0), "Q", Qt::DisplayRole));
    model.add("T", "t");
    EXPECT_FALSE(model.removeRows(2, 2));
    EXPECT_TRUE(model.removeRows(0, 1));
    model.setData(model.index(0, 1), "u", Qt::EditRole);
    model.removeSelectedEntry();
    model.setResource("X");
    model.loaddata();
    EXPECT_EQ(log.join(", "),
              "edited R, dirty, data 0-32, header 0-3, removing 0-1, removed 0-1, data 0-22, header 0-2, "
              "edited u, clean");
}

TEST(MainWindow, ShowsTheBeginningOfALongTextAndEditsAllOfIt)
{
    const QString longest(255, 'x');
    const QString longer(100000, 'x');
    writeConfiguration(longer.toStdString());
    gui::MainWindow window;
    auto* view = window.findChild<QTableView*>();
    EXPECT_TRUE(view->horizontalHeader()->stretchLastSection());
    const auto* delegate = qobject_cast<QStyledItemDelegate*>(view->itemDelegate());
    EXPECT_EQ(delegate->displayText(longest, QLocale()), longest);
    EXPECT_EQ(delegate->displayText(longer, QLocale()), longest + QChar(0x2026));
    view->edit(view->model()->index(0, 0));
    EXPECT_EQ(view->viewport()->findChild<QLineEdit*>()->text(), longer);
}

TEST(SerialPage, ShowsWhatItsListsDoNotHave)
{
    writeFile("script", "resource ASRL1::INSTR\nresource ASRL20::INSTR\n");
    Model model(nullptr);
    model.m_serialProperties = {{7, {1, 2, 3, 4, 5}}, {20, {250000, 9, 3, 5, 4}}};
    gui::PropertyDialog dialog(model, nullptr);
    dialog.findChild<QComboBox*>("comboBoxSerialInterface")->setCurrentIndex(1);
    const auto* baudRates = dialog.findChild<QComboBox*>("comboBoxKyBaudrate");
    EXPECT_EQ(baudRates->currentText(), "250000");
    EXPECT_EQ(baudRates->currentIndex(), 0);
    dialog.accept();
    EXPECT_EQ(model.m_serialProperties,
              (KyVisa::SerialPropertiesMap{{1, {}}, {7, {1, 2, 3, 4, 5}}, {20, {250000, 9, 255, 255, 6}}}));
    EXPECT_TRUE(model.isDirty());
}
