// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/ResourceDialog.h"

#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QListWidget>
#include <QTest>
#include <QToolButton>

#include <algorithm>
#include <thread>

namespace
{

/// Lets a search that waits for the gate end, once the dialog shows that it waits.
class Dialog : public gui::ResourceDialog
{
public:
    Dialog() : ResourceDialog(nullptr) {}

    QString listed() const
    {
        QString names;
        for (const auto* item : list.findItems("*", Qt::MatchWildcard))
            names += item->text();
        return names;
    }

    QListWidget& list = *findChild<QListWidget*>();
    bool waited = false;

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::CursorChange && cursor().shape() == Qt::WaitCursor)
        {
            waited = !findChild<QDialogButtonBox*>()->isEnabled() && !findChild<QToolButton*>()->isEnabled();
            writeFile("gate", "");
        }
        return ResourceDialog::event(event);
    }
};

} // namespace

TEST(ResourceDialog, WaitsVisiblyForASearchThatRunsAndShowsOneThatHasEnded)
{
    writeFile("script", "resource B\nresource A\ngate closed\n");
    Dialog builtBefore;
    std::thread search([] { Dialog::updateResourceList(); });
    EXPECT_TRUE(QTest::qWaitFor([] { return readFile("log").find("viFindRsrc") != std::string::npos; }, 30000));
    Dialog builtMeanwhile;
    Dialog dialog;
    dialog.show();
    search.join();
    EXPECT_TRUE(dialog.waited);
    EXPECT_EQ(dialog.cursor().shape(), Qt::ArrowCursor);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    EXPECT_TRUE(dialog.findChild<QDialogButtonBox*>()->isEnabled());
    std::filesystem::remove("log");
    builtBefore.show();
    builtMeanwhile.show();
    EXPECT_EQ(builtBefore.listed() + builtMeanwhile.listed() + dialog.listed(), "ABABAB");
    EXPECT_FALSE(std::filesystem::exists("log"));

    dialog.list.setCurrentRow(1);
    dialog.hide();
    dialog.show();
    EXPECT_EQ(dialog.getResource(), "B");
}

TEST(ResourceDialog, StopsAskingAfterManyFailures)
{
    writeFile("script", "resource A\nresource B\ncount 9999\n");
    Dialog::updateResourceList();
    const std::string log = readFile("log");
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 4 + 1 + 4096 + 2);
}

TEST(ResourceDialog, NeverShowsHalfAList)
{
    writeFile("script", "resource A\nresource B\nresource C\n");
    Dialog::updateResourceList();
    std::thread searches([] {
        for (int round = 0; round < 200; ++round)
            Dialog::updateResourceList();
    });
    for (int round = 0; round < 100; ++round)
    {
        Dialog dialog;
        dialog.show();
        EXPECT_EQ(dialog.listed(), "ABC");
    }
    searches.join();
}
