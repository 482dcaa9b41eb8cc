// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/MainWindow.h"

#include <QAction>
#include <QHeaderView>
#include <QLineEdit>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QToolBar>

TEST(MainWindow, OffersItsActionsWithTipsAndIcons)
{
    // The icons are compared by their pixels; a separator has none.
    const QStringList icons = {
        "Neu_transp4d09c92bc222a", "Minus", "Edit_trans4d09c5d42eda5", "Suchen_tra4d09cbe82cb7b", "",
        "Einstellun4d09c60e647ef", "",      "Speichern_4d09cb08d5fcd", "Power_Off4e1edc2c60f47"};
    const gui::MainWindow window;
    QStringList tips;
    for (const QAction* action : window.findChild<QToolBar*>()->actions())
    {
        const QImage image = QIcon(":/icons/" + icons.value(tips.size()) + ".ico").pixmap(24).toImage();
        tips += action->isSeparator() ? "|" : action->toolTip();
        EXPECT_EQ(action->isSeparator(), image.isNull()) << tips.size();
        EXPECT_EQ(action->icon().pixmap(24).toImage(), image) << tips.size();
    }
    EXPECT_EQ(tips.join(", "),
              "Add Resource, Remove resource, Edit, Find Resource, |, Edit properties, |, Save, Close");
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
