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

using gui::ResourceDialog;

namespace
{

std::string listed(const ResourceDialog& dialog)
{
    QString names;
    for (const auto* item : dialog.findChild<QListWidget*>()->findItems("*", Qt::MatchWildcard))
        names += item->text() + ' ';
    return names.toStdString();
}

/// A search in a thread of its own, as the main window starts one. It finds "B" and "A" once there is a file "gate".
std::thread searchInBackground()
{
    writeFile("script", "resource B\nresource A\ngate closed\n");
    std::filesystem::remove("log");
    std::thread thread([] { ResourceDialog::updateResourceList(); });
    const auto hasBegun = [] { return readFile("log").find("viFindRsrc") != std::string::npos; };
    EXPECT_TRUE(QTest::qWaitFor(hasBegun, 30000));
    return thread;
}

/// Lets the search end once the dialog shows that it waits.
class WaitingDialog : public ResourceDialog
{
public:
    using ResourceDialog::ResourceDialog;

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
    ResourceDialog builtBefore(nullptr);
    std::thread search = searchInBackground();
    ResourceDialog builtMeanwhile(nullptr);
    WaitingDialog dialog(nullptr);
    dialog.show();
    search.join();
    EXPECT_TRUE(dialog.waited);
    EXPECT_EQ(dialog.cursor().shape(), Qt::ArrowCursor);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    EXPECT_TRUE(dialog.findChild<QDialogButtonBox*>()->isEnabled());
    std::filesystem::remove("log");
    builtBefore.show();
    builtMeanwhile.show();
    EXPECT_EQ(listed(builtBefore) + listed(builtMeanwhile) + listed(dialog), "A B A B A B ");
    EXPECT_FALSE(std::filesystem::exists("log"));

    dialog.findChild<QListWidget*>()->setCurrentRow(1);
    dialog.hide();
    dialog.show();
    EXPECT_EQ(dialog.getResource(), QString("B"));
}

TEST(ResourceDialog, StopsAskingAfterManyFailures)
{
    writeFile("script", "resource A\nresource B\ncount 9999\n");
    ResourceDialog::updateResourceList();
    const std::string log = readFile("log");
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 4 + 1 + 4096 + 2);
}

TEST(ResourceDialog, NeverShowsHalfAList)
{
    writeFile("script", "resource A\nresource B\nresource C\n");
    ResourceDialog::updateResourceList();
    std::thread searches([] {
        for (int round = 0; round < 200; ++round)
            ResourceDialog::updateResourceList();
    });
    for (int round = 0; round < 100; ++round)
    {
        ResourceDialog dialog(nullptr);
        dialog.show();
        EXPECT_EQ(listed(dialog), "A B C ");
    }
    searches.join();
}
