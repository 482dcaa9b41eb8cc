// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/ResourceDialog.h"
#include "gui/ResourceString.h"

#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QListWidget>
#include <QTest>
#include <QToolButton>

#include <array>
#include <thread>

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

/// A search in a thread of its own, as the main window starts one. It finds "B" and "A" once there is a file "gate".
std::thread searchInBackground()
{
    writeFile("script", "resource B\nresource A\ngate gate\n");
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

TEST(ResourceString, IsComposed)
{
    // Interface, board, host, device, port, vendor, product, serial number.
    const std::vector<std::array<const char*, 3>> rows = {
        {"Vxi11", "0| 1 | h | 2 | 3 | v | p | s ", "TCPIP1::h::inst2::INSTR"},
        {"Vxi11Empty", "0|||||||", "TCPIP::::inst::INSTR"},
        {"HiSlip", "1| 1 | h | 2 | 3 | v | p | s ", "TCPIP1::h::hislip2, 3 ::INSTR"},
        {"HiSlipDefaultPort", "1|1|h|2|4880|||", "TCPIP1::h::hislip2::INSTR"},
        {"HiSlipBlankPort", "1|1|h|2| 4880|||", "TCPIP1::h::hislip2, 4880::INSTR"},
        {"HiSlipEmpty", "1|||||||", "TCPIP::::hislip::INSTR"},
        {"Socket", "2| 1 | h | 2 | 3 | v | p | s ", "TCPIP1::h::3::SOCKET"},
        {"SocketEmpty", "2||||  |||", "TCPIP::::SOCKET"},
        {"Kyib", "3| 1 | h | 2 | 3 | v | p | s ", "KYIB::h"},
        {"Usb", "4| 1 | h | 2 | 3 | v | p | s ", "USB1::v::p::s::INSTR"},
        {"Serial", "5| 1 | h | 2 | 3 | v | p | s ", "ASRL1::INSTR"},
        {"Gpib", "6|1|h|2|3|v|p|s", ""},
        {"None", "-1|1|h|2|3|v|p|s", ""}};
    for (const auto& [name, text, expected] : rows)
    {
        const QStringList part = QString(text).split('|');
        const gui::ResourceParts parts = {part[1], part[2], part[3], part[4], part[5], part[6], part[7]};
        EXPECT_EQ(gui::composeResourceString(part[0].toInt(), parts), expected) << name;
    }
}

TEST(ResourceDialog, WaitsVisiblyForASearchThatRuns)
{
    std::thread search = searchInBackground();
    WaitingDialog dialog(nullptr);
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
    ResourceDialog builtBefore(nullptr);
    std::thread search = searchInBackground();
    ResourceDialog builtMeanwhile(nullptr);
    writeFile("gate", "");
    search.join();
    std::filesystem::remove("log");
    for (ResourceDialog* dialog : {&builtBefore, &builtMeanwhile})
    {
        dialog->show();
        EXPECT_EQ(listed(*dialog), "A B ");
    }
    EXPECT_FALSE(std::filesystem::exists("log"));

    builtBefore.findChild<QListWidget*>()->setCurrentRow(1);
    builtBefore.hide();
    builtBefore.show();
    EXPECT_EQ(builtBefore.getResource(), QString("B"));
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
