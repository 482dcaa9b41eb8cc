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
    const auto hasBegun = [] { return readFile(World::callLog()).find("viFindRsrc") != std::string::npos; };
    EXPECT_TRUE(QTest::qWaitFor(hasBegun, 30000));
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

// Interface, board, host, device, port, vendor, product, serial number.
TABLE(ResourceString, IsComposed, Row{"Vxi11", "0| 1 | h | 2 | 3 | v | p | s ", "TCPIP1::h::inst2::INSTR"},
      Row{"Vxi11Empty", "0|||||||", "TCPIP::::inst::INSTR"},
      Row{"HiSlip", "1| 1 | h | 2 | 3 | v | p | s ", "TCPIP1::h::hislip2, 3 ::INSTR"},
      Row{"HiSlipDefaultPort", "1|1|h|2|4880|||", "TCPIP1::h::hislip2::INSTR"},
      Row{"HiSlipBlankPort", "1|1|h|2| 4880|||", "TCPIP1::h::hislip2, 4880::INSTR"},
      Row{"HiSlipEmpty", "1|||||||", "TCPIP::::hislip::INSTR"},
      Row{"Socket", "2| 1 | h | 2 | 3 | v | p | s ", "TCPIP1::h::3::SOCKET"},
      Row{"SocketEmpty", "2||||  |||", "TCPIP::::SOCKET"}, Row{"Kyib", "3| 1 | h | 2 | 3 | v | p | s ", "KYIB::h"},
      Row{"Usb", "4| 1 | h | 2 | 3 | v | p | s ", "USB1::v::p::s::INSTR"},
      Row{"UsbEmpty", "4|||||||", "USB::::::::INSTR"}, Row{"Serial", "5| 1 | h | 2 | 3 | v | p | s ", "ASRL1::INSTR"},
      Row{"Gpib", "6|1|h|2|3|v|p|s", ""}, Row{"None", "-1|1|h|2|3|v|p|s", ""})
{
    const QStringList part = QString::fromStdString(GetParam().text).split('|');
    const gui::ResourceParts parts = {part[1], part[2], part[3], part[4], part[5], part[6], part[7]};
    EXPECT_EQ(gui::composeResourceString(part[0].toInt(), parts).toStdString(), GetParam().expected);
}

const std::string three = "resource b\nresource A\nresource C\n";
const std::string closed = "viClose 2;viClose 1;";
const std::string next = "viFindNext 2;";

TABLE(ResourceSearches, KeepsWhatCanBeRead, Row{"Sorted", three, "A C b " + next + next + closed},
      Row{"Twice", "resource Z\nresource \xc3\xbc\nresource Z\n", "Z Z \xc3\xbc " + next + next + closed},
      Row{"Nothing", "", "viClose 1;"}, Row{"Warning", three + "find 1\n", "viClose 1;"},
      Row{"Error", three + "find -1\n", "viClose 1;"}, Row{"CountOfNone", three + "count 0\n", "viClose 1;"},
      Row{"CountTooSmall", three + "count 2\n", "A b " + next + closed},
      Row{"CountTooLarge", three + "count 5\n", "A C b " + next + next + next + next + closed},
      Row{"EntryWarns", three + "next1 1\n", "C b " + next + next + closed},
      Row{"EntryFails", three + "next1 -1\n", "C b " + next + next + closed})
{
    scriptVisa("handle 0\n" + GetParam().text);
    takeVisaCalls();
    ResourceDialog::updateResourceList();
    const std::string calls = visaCallsAfter("viOpenDefaultRM 1;viSetAttribute 1 0x0F9C0002 7;"
                                             "viSetAttribute 1 0x0F9C0001 1000;viFindRsrc 1 ?*;");
    EXPECT_EQ(listed(ResourceDialog(nullptr)) + calls, GetParam().expected);
}

TEST(ResourceSearch, GoesOnWithoutASession)
{
    scriptVisa("open -1\n");
    ResourceDialog::updateResourceList();
    EXPECT_EQ(takeVisaCalls(), "viOpenDefaultRM 0\nviSetAttribute 0 0x0F9C0002 7\n"
                               "viSetAttribute 0 0x0F9C0001 1000\nviFindRsrc 0 ?*\nviClose 0\n");
}

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
