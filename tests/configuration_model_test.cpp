// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/ConfigurationModel.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

TEST(Model, SignalsItsRowsOneBeyondTheLast)
{
    writeConfiguration("R\nS\n");
    ConfigurationModel model(nullptr);
    std::string log;
    const auto note = [&](const char* name, int first, int last) {
        log += name + std::to_string(first) + "-" + std::to_string(last) + " ";
    };
    QObject::connect(&model, &ConfigurationModel::rowsAboutToBeRemoved,
                     [&](const QModelIndex&, int first, int last) { note("removing", first, last); });
    QObject::connect(&model, &ConfigurationModel::rowsRemoved,
                     [&](const QModelIndex&, int first, int last) { note("removed", first, last); });
    QObject::connect(&model, &ConfigurationModel::rowsInserted, [&] { note("inserted", 0, 0); });
    QObject::connect(&model, &ConfigurationModel::headerDataChanged,
                     [&](Qt::Orientation, int first, int last) { note("header", first, last); });
    QObject::connect(&model, &ConfigurationModel::dataChanged, [&](const QModelIndex& first, const QModelIndex& last) {
        note("data", first.row() + first.column(), last.row() * 10 + last.column());
    });
    QObject::connect(&model, &ConfigurationModel::dirtyHasChanged, [&](bool bDirty) { note("dirty", bDirty, bDirty); });
    QObject::connect(&model, &ConfigurationModel::editCompleted,
                     [&](const QString& text) { log += "edited-" + text.toStdString() + " "; });

    EXPECT_TRUE(model.setData(model.index(0, 0), " R ", Qt::EditRole));
    EXPECT_TRUE(model.setData(model.index(0, 0), "Q", Qt::DisplayRole));
    EXPECT_EQ(log, "edited-R ");
    model.add("T", "t");
    EXPECT_FALSE(model.removeRows(2, 2));
    EXPECT_TRUE(model.removeRows(0, 1));
    model.setData(model.index(0, 1), "u", Qt::EditRole);
    EXPECT_EQ(log, "edited-R dirty1-1 data0-32 header0-3 removing0-1 removed0-1 data0-22 header0-2 edited-u ");
    log.clear();
    model.removeSelectedEntry();
    model.setResource("X");
    model.loaddata();
    EXPECT_EQ(log, "dirty0-0 ");
}

TEST(Model, LabelsItsColumnsAndNotItsRows)
{
    const ConfigurationModel model(nullptr);
    EXPECT_EQ(model.headerData(0, Qt::Horizontal), "Resource identifier");
    EXPECT_EQ(model.headerData(1, Qt::Horizontal), "Alias");
    EXPECT_EQ(model.headerData(0, Qt::Vertical), QVariant());
    EXPECT_EQ(model.headerData(0, Qt::Horizontal, Qt::ToolTipRole), QVariant());
}

TEST(Model, KeepsEveryByteOfAFile)
{
    writeConfiguration("R\xe4=\xfc\n");
    ConfigurationModel model(nullptr);
    model.add(QString::fromLatin1("\xf6"), QString::fromLatin1("\xe4"));
    model.save();
    EXPECT_NE(readFile(World::configurationFile()).find("\nR\xe4=\xfc\n"), std::string::npos);
    EXPECT_NE(readFile(World::configurationFile()).find("\n\xe4=\xf6\n"), std::string::npos);
}
