// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/ConfigurationModel.h"
#include "gui/MainWindow.h"
#include "gui/PropertyDialog.h"
#include "gui/ResourceDialog.h"
#include "gui/ResourceString.h"
#include "gui/RsrcStringEditor.h"

#include <QtTest>
#include <QtWidgets>

#include <thread>

using Model = ConfigurationModel;

namespace
{

/// The names that a search listed, how often it asked for the next one, and what it closed.
QString searched(const QStringList& names)
{
    const QString calls = QString::fromStdString(readFile("log")).section("viFindRsrc", -1);
    const QString closed = calls.section("viClose ", 1).remove("viClose ").simplified();
    return QString("%1, %2 asked, %3 closed").arg(names.join(' ')).arg(calls.count("viFindNext")).arg(closed);
}

QStringList texts(const QAbstractItemModel& model)
{
    QStringList result;
    for (int row = 0; row < model.rowCount(); ++row)
        result += model.index(row, 0).data().toString();
    return result;
}

/// While its list is empty for a search, notes whether it waits visibly, is clicked, and opens the gate for the search.
class Dialog : public gui::ResourceDialog
{
public:
    Dialog() : ResourceDialog(nullptr)
    {
        connect(list.model(), &QAbstractItemModel::modelReset, this, [this] {
            waits = cursor().shape() == Qt::WaitCursor && QGuiApplication::overrideCursor() != nullptr &&
                    QGuiApplication::overrideCursor()->shape() == Qt::WaitCursor &&
                    !findChild<QDialogButtonBox*>()->isEnabled() && !refresh.isEnabled();
            for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease})
                QCoreApplication::postEvent(&refresh,
                                            new QMouseEvent(type, {1, 1}, Qt::LeftButton, Qt::LeftButton, {}));
            writeFile("gate", "");
        });
    }

    ~Dialog() override { list.model()->disconnect(this); }

    QStringList listed() const { return texts(*list.model()); }

    QListWidget& list = *findChild<QListWidget*>();
    QToolButton& refresh = *findChild<QToolButton*>();
    bool waits = false;
};

} // namespace

// The number of the interface type, and the port.
TABLE(ResourceString, IsComposedOfItsTrimmedParts, Row{"Vxi11", "0 9", "TCPIP1::h::inst2::INSTR"},
      Row{"HiSlip", "1 4881", "TCPIP1::h::hislip2,4881::INSTR"},
      Row{"HiSlipOnItsPort", "1 4880", "TCPIP1::h::hislip2::INSTR"},
      Row{"HiSlipOnItsPortWithABlank", "1  4880", "TCPIP1::h::hislip2, 4880::INSTR"},
      Row{"HiSlipWithoutPort", "1 ", "TCPIP1::h::hislip2::INSTR"}, Row{"Socket", "2  3 ", "TCPIP1::h::3::SOCKET"},
      Row{"SocketWithoutPort", "2  ", "TCPIP1::h::SOCKET"}, Row{"Kyib", "3 9", "KYIB::h"},
      Row{"Usb", "4 9", "USB1::v::p::s::INSTR"}, Row{"Serial", "5 9", "ASRL1::INSTR"}, Row{"Gpib", "6 9", ""},
      Row{"NoType", "-1 9", ""})
{
    const QString text = QString::fromStdString(GetParam().text);
    const gui::ResourceParts parts = {" 1 ", " h ", " 2 ", text.section(' ', 1), " v ", " p ", " s "};
    EXPECT_EQ(gui::composeResourceString(text.section(' ', 0, 0).toInt(), parts).toStdString(), GetParam().expected);
}

// The search for all resources skips what fails. The one for ports ends at the first status but success.
TABLE(Searches, ListWhatWorksAndCloseWhatTheyOpened,
      Row{"Success", "", "ASRL1 ASRL2 aÄ, 2 asked, 2 1 closed; ASRL2 ASRL1, 2 asked, 2 1 closed"},
      Row{"Warning", "find=1", ", 0 asked, 1 closed; ASRL2 ASRL1, 2 asked, 2 1 closed"},
      Row{"Error", "find=-1", ", 0 asked, 1 closed; , 0 asked, 1 closed"},
      Row{"CountOfZero", "count=0", ", 0 asked, 1 closed; , 0 asked, 2 1 closed"},
      Row{"CountTooSmall", "count=1", "ASRL2, 0 asked, 2 1 closed; ASRL2, 1 asked, 2 1 closed"},
      Row{"CountTooLarge", "count=-1", "ASRL1 ASRL2 aÄ, 9999 asked, 2 1 closed; ASRL2 ASRL1, 2 asked, 2 1 closed"},
      Row{"WarningOfTheNext", "next1=1", "ASRL1 ASRL2, 2 asked, 2 1 closed; ASRL2, 1 asked, 2 1 closed"},
      Row{"NoSession", "open=-1", "ASRL1 ASRL2 aÄ, 2 asked, 2 0 closed; ASRL2 ASRL1, 2 asked, 2 0 closed"})
{
    writeFile("script", "ASRL2 aÄ ASRL1 " + GetParam().text);
    Dialog::updateResourceList();
    const QString all = searched(Dialog().listed());
    Model model(nullptr);
    const gui::PropertyDialog dialog(model, nullptr);
    const QString ports = searched(texts(*dialog.findChild<QComboBox*>("comboBoxSerialInterface")->model()));
    EXPECT_EQ((all + "; " + ports).toStdString(), GetParam().expected);
}

TEST(Model, LabelsItsColumnsAndSignalsItsRowsOneBeyondTheLast)
{
    writeConfiguration("R\nS\n");
    Model model(nullptr);
    QStringList log;
    QObject::connect(&model, &Model::rowsAboutToBeRemoved,
                     [&](auto, int first, int last) { log += QString("removing %1-%2").arg(first).arg(last); });
    QObject::connect(&model, &Model::dataChanged, [&](auto, auto last) { log += QString("data %1").arg(last.row()); });
    QObject::connect(&model, &Model::dirtyHasChanged, [&](bool isDirty) { log += isDirty ? "dirty" : "clean"; });
    QObject::connect(&model, &Model::editCompleted, [&](const QString& text) { log += "edited " + text; });

    EXPECT_EQ(model.headerData(0, Qt::Horizontal), "Resource identifier");
    EXPECT_EQ(model.headerData(1, Qt::Horizontal), "Alias");
    EXPECT_FALSE(model.headerData(0, Qt::Vertical).isValid());
    EXPECT_TRUE(model.setData(model.index(0, 0), " R ", Qt::EditRole));
    model.add("T", "t");
    EXPECT_FALSE(model.removeRows(2, 2));
    EXPECT_TRUE(model.removeRows(0, 1));
    model.setData(model.index(0, 0), "\t TC=P#I;P::1 2::INSTR \n", Qt::EditRole);
    model.setData(model.index(0, 1), " my dev:1 ; #x=y ", Qt::EditRole);
    model.loaddata();
    EXPECT_EQ(log.join(", "), "edited R, dirty, data 3, removing 0-1, data 2, edited TCPIP::1_2::INSTR, "
                              "edited my_dev1__xy, clean");
}

TEST(MainWindow, ShowsTheWidestTextsOrTheirBeginningAndEditsAllOfThem)
{
    // Texts of more characters do not stand in the way of a wider one.
    writeConfiguration((QString(40, 'i') + '\n').repeated(60).toStdString() + std::string(30, 'W') + "\nWWWWW=R");
    gui::MainWindow window;
    window.resize(200, 200);
    window.show();
    auto* view = window.findChild<QTableView*>();
    for (const QModelIndex& widest : {view->model()->index(60, 0), view->model()->index(61, 1)})
        EXPECT_EQ(view->columnWidth(widest.column()), view->sizeHintForIndex(widest).width() + 1);
    const QString longText(100000, 'x');
    const auto* delegate = qobject_cast<QStyledItemDelegate*>(view->itemDelegate());
    EXPECT_EQ(delegate->displayText(longText, QLocale()), QString(255, 'x') + QChar(0x2026));
    view->model()->setData(view->model()->index(0, 0), longText);
    view->edit(view->model()->index(0, 0));
    EXPECT_EQ(view->viewport()->findChild<QLineEdit*>()->text(), longText);
}

TEST(MainWindow, SearchesAtTheStartAndNamesItsFile)
{
    {
        gui::MainWindow window;
        const auto& view = *window.findChild<QTableView*>();
        EXPECT_EQ(view.accessibleDescription().toStdString(), "The first save makes " + perUserFile().string());
        writeFile("visa.conf", ""); // comes before the per-user one
        window.findChild<ConfigurationModel*>()->setDirty(true);
        window.findChild<ConfigurationModel*>()->save();
        EXPECT_EQ(view.horizontalHeader()->toolTip(),
                  "<p style='white-space:pre'>Edited file: " + QDir("visa.conf").absolutePath());
    }
    EXPECT_EQ(readFile("log"), "viOpenDefaultRM\nviSetAttribute 1 0xf9c0002 7\nviSetAttribute 1 0xf9c0001 1000\n"
                               "viFindRsrc 1 ?*\nviClose 1\n");
}

TEST(MainWindow, KeepsItsSelectionAndHasAMenu)
{
    writeConfiguration("A\nB\nC\nD");
    gui::MainWindow window;
    auto& view = *window.findChild<QTableView*>();
    view.selectionModel()->setCurrentIndex(view.model()->index(1, 0), QItemSelectionModel::NoUpdate);
    QTest::sendKeyEvent(QTest::Press, &view, Qt::Key_nobreakspace, QString(QChar::Nbsp), Qt::NoModifier);
    view.model()->removeRow(0);
    EXPECT_EQ(view.selectionModel()->selectedRows().value(0).row(), 0);

    const auto menu = [&](int y) {
        QContextMenuEvent event(QContextMenuEvent::Mouse, {1, y});
        QCoreApplication::sendEvent(view.viewport(), &event);
        QStringList entries;
        for (const QAction* action : QApplication::activePopupWidget()->actions())
            entries += action->text();
        return entries.join(", ");
    };
    EXPECT_EQ(menu(1), "Add Resource, Remove resource, Edit, , Find Resource");
    EXPECT_EQ(menu(-1), "Add Resource");
}

TEST(Windows, NameTheirControlsForThoseWhoDoNotSeeThem)
{
    writeFile("script", "ASRL1");
    const gui::MainWindow window;
    Model model(nullptr);
    const gui::PropertyDialog properties(model, nullptr);
    const gui::RsrcStringEditor composer(nullptr);
    const Dialog dialog;
    QStringList nameless;
    for (QWidget* each : QApplication::allWidgets())
    {
        const QString name = QAccessible::queryAccessibleInterface(each)->text(QAccessible::Name);
        if (each->focusPolicy() != Qt::NoFocus && (name.isEmpty() || name == "..."))
            nameless += each->objectName();
    }
    nameless.sort();
    EXPECT_EQ(nameless.join(' '), "PropertyTree qt_toolbar_ext_button rsrcTable"); // which nobody sees

    QStringList buttons;
    for (const QAction* action : window.findChild<QToolBar*>()->actions())
    {
        for (const QString& file : QDir(":/icons").entryList())
        {
            if (QIcon(":/icons/" + file).pixmap(24).toImage() == action->icon().pixmap(24).toImage())
                buttons += action->toolTip() + ": " + file;
        }
    }
    EXPECT_EQ(buttons.join(", "),
              "Add Resource: Neu_transp4d09c92bc222a.ico, Remove resource: Minus.ico, Edit: "
              "Edit_trans4d09c5d42eda5.ico, Find Resource: Suchen_tra4d09cbe82cb7b.ico, Edit properties: "
              "Einstellun4d09c60e647ef.ico, Save: Speichern_4d09cb08d5fcd.ico, Close: Power_Off4e1edc2c60f47.ico");
}

TEST(ResourceDialog, WaitsVisiblyForASearchThatRunsAndShowsOneThatHasEnded)
{
    writeFile("script", "B A gate=30");
    Dialog builtBefore;
    std::thread search([] { Dialog::updateResourceList(); });
    EXPECT_TRUE(QTest::qWaitFor([] { return readFile("log").find("viFindRsrc") != std::string::npos; }, 30000));
    Dialog builtMeanwhile;
    Dialog dialog;
    dialog.show();
    search.join();
    EXPECT_TRUE(dialog.waits);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    std::filesystem::remove("log");
    builtBefore.show();
    builtMeanwhile.show();
    EXPECT_EQ((builtBefore.listed() + builtMeanwhile.listed() + dialog.listed()).join(""), "ABABAB");
    EXPECT_FALSE(std::filesystem::exists("log"));

    QCoreApplication::removePostedEvents(nullptr);
    dialog.refresh.click();
    QCoreApplication::processEvents();
    EXPECT_EQ(readFile("log").find("viFindRsrc"), readFile("log").rfind("viFindRsrc"));
    dialog.list.setCurrentRow(1);
    dialog.hide();
    dialog.show();
    emit dialog.list.itemDoubleClicked(nullptr);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(dialog.getResource(), "B");
}

TEST(SerialPage, ShowsWhatItsListsDoNotHave)
{
    writeFile("script", "ASRL1::INSTR ASRL20::INSTR");
    Model model(nullptr);
    model.m_serialProperties = {{7, {1, 2, 3, 4, 5}}, {20, {250000, 5, 3, 5, 4}}};
    gui::PropertyDialog dialog(model, nullptr);
    EXPECT_EQ(readFile("log").find("viOpenDefaultRM\nviSetAttribute 1 0xf9c0002 0\nviFindRsrc 1 ASRL?*\nviParseRsrc"),
              0);
    dialog.findChild<QComboBox*>("comboBoxSerialInterface")->setCurrentIndex(1);
    EXPECT_EQ(dialog.findChild<QComboBox*>("comboBoxKyBaudrate")->currentIndex(), 0);
    dialog.accept();
    EXPECT_EQ(model.m_serialProperties,
              (KyVisa::SerialPropertiesMap{{1, {}}, {7, {1, 2, 3, 4, 5}}, {20, {250000, 5, 255, 255, 6}}}));
}

TEST(GpibPage, WorksAlthoughNobodySeesIt)
{
    Model model(nullptr);
    model.m_gpibProperties = {{0, {}}, {5, {}}, {65535, {}}};
    gui::PropertyDialog dialog(model, nullptr);
    auto& tree = *dialog.findChild<QTreeWidget*>();
    const auto row = [&](int board) { return tree.topLevelItem(board)->child(0); };
    dialog.addDevice();
    tree.setCurrentItem(row(3));
    dialog.removeDevice();
    row(0)->setText(0, "7x");
    row(2)->setText(1, "-1");
    row(2)->setCheckState(2, Qt::Unchecked);
    row(0)->setText(0, "65541");
    dialog.accept();
    EXPECT_EQ(model.m_gpibProperties, (KyVisa::GpibPropertiesMap{{5, {}}, {6, {65535, 65535, 0}}}));
}
