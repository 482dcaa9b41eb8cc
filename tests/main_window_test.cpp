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
    using Button = std::pair<const char*, const char*>;
    const std::vector<Button> buttons = {{"Add Resource", "Neu_transp4d09c92bc222a"},
                                         {"Remove resource", "Minus"},
                                         {"Edit", "Edit_trans4d09c5d42eda5"},
                                         {"Find Resource", "Suchen_tra4d09cbe82cb7b"},
                                         {"", ""},
                                         {"Edit properties", "Einstellun4d09c60e647ef"},
                                         {"", ""},
                                         {"Save", "Speichern_4d09cb08d5fcd"},
                                         {"Close", "Power_Off4e1edc2c60f47"}};
    const gui::MainWindow window;
    const QList<QAction*> actions = window.findChild<QToolBar*>()->actions();
    ASSERT_EQ(static_cast<std::size_t>(actions.size()), buttons.size());
    for (int each = 0; each < actions.size(); ++each)
    {
        const auto& [tip, icon] = buttons[static_cast<std::size_t>(each)];
        const QImage image = QIcon(QString(":/icons/%1.ico").arg(icon)).pixmap(24).toImage();
        EXPECT_EQ(actions[each]->toolTip(), tip);
        EXPECT_EQ(actions[each]->isSeparator(), image.isNull()) << tip;
        EXPECT_EQ(actions[each]->icon().pixmap(24).toImage(), image) << tip;
    }
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
