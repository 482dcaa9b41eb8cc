// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/ResourceDialog.h"

#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QListWidget>
#include <QTest>
#include <QToolButton>

#include <thread>

#include <gtest/gtest.h>

using gui::ResourceDialog;

namespace
{

std::string listed(const ResourceDialog& dialog)
{
    const auto* list = dialog.findChild<QListWidget*>();
    std::string names;
    for (int row = 0; row < list->count(); ++row)
        names += list->item(row)->text().toStdString() + " ";
    return names;
}

void letSearchEnd()
{
    writeFile("gate", "");
}

/// A search in a thread of its own, as the main window starts one. It runs and finds "B" and "A" once it may end.
std::thread searchInBackground()
{
    scriptVisa("resource B\nresource A\ngate " + std::filesystem::absolute("gate").string() + "\n");
    takeVisaCalls();
    std::thread thread([] { ResourceDialog::updateResourceList(); });
    EXPECT_TRUE(QTest::qWaitFor([] { return readFile(World::callLog()).find("viFindRsrc") != std::string::npos; }));
    return thread;
}

/// Lets the search end once the dialog shows that it waits, and notes whether it does so.
class WaitingDialog : public ResourceDialog
{
public:
    WaitingDialog() : ResourceDialog(nullptr) {}

    bool waited = false;

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::CursorChange && cursor().shape() == Qt::WaitCursor)
        {
            waited = !findChild<QDialogButtonBox*>()->isEnabled() && !findChild<QToolButton*>()->isEnabled();
            letSearchEnd();
        }
        return ResourceDialog::event(event);
    }
};

} // namespace

TEST(ResourceDialog, WaitsVisiblyForASearchThatRuns)
{
    std::thread search = searchInBackground();
    WaitingDialog dialog;
    dialog.show();
    EXPECT_TRUE(dialog.waited);
    EXPECT_EQ(listed(dialog), "A B ");
    EXPECT_EQ(dialog.cursor().shape(), Qt::ArrowCursor);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    EXPECT_TRUE(dialog.findChild<QDialogButtonBox*>()->isEnabled());
    search.join();
}

TEST(ResourceDialog, ShowsASearchThatEndedSinceItWasBuilt)
{
    scriptVisa("resource B\nresource C\n");
    ResourceDialog::updateResourceList();
    ResourceDialog builtBefore(nullptr);
    std::thread search = searchInBackground();
    ResourceDialog builtMeanwhile(nullptr);
    letSearchEnd();
    search.join();
    takeVisaCalls();
    for (ResourceDialog* dialog : {&builtBefore, &builtMeanwhile})
    {
        dialog->show();
        EXPECT_EQ(listed(*dialog), "A B ");
    }
    EXPECT_EQ(listed(ResourceDialog(nullptr)), "A B ");
    EXPECT_EQ(takeVisaCalls().find("viOpenDefaultRM"), std::string::npos);

    builtBefore.findChild<QListWidget*>()->setCurrentRow(1);
    builtBefore.hide();
    builtBefore.show();
    EXPECT_EQ(builtBefore.getResource(), QString("B"));
}

TEST(ResourceDialog, NeverShowsHalfAList)
{
    scriptVisa("resource A\nresource B\nresource C\n");
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
