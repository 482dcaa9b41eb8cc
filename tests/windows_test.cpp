// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// What a scenario cannot reach: signals, searches that lie or take long, and what nobody sees.

#include "World.h"
#include "gui/ConfigurationModel.h"
#include "gui/MainWindow.h"
#include "gui/PropertyDialog.h"
#include "gui/ResourceDialog.h"
#include "gui/RsrcStringEditor.h"

#include <QtTest>
#include <QtWidgets>

using Model = ConfigurationModel;

namespace
{

struct Window : gui::MainWindow
{
    QTableView& view = *findChild<QTableView*>();
    Model& model = *findChild<Model*>();
};

struct Dialog : gui::ResourceDialog
{
    Dialog() : ResourceDialog(nullptr) {}

    QListWidget& list = *findChild<QListWidget*>();
    QToolButton& refresh = *findChild<QToolButton*>();
};

struct Properties : gui::PropertyDialog
{
    explicit Properties(Model& model) : PropertyDialog(model, nullptr) {}

    QComboBox& ports = *findChild<QComboBox*>("comboBoxSerialInterface");
};

std::string names(const QAbstractItemModel& list)
{
    std::string result;
    for (int row = 0; row < list.rowCount(); ++row)
        result += list.index(row, 0).data().toString().toStdString() + ' ';
    return result;
}

QString libraryLog()
{
    return QString::fromStdString(readFile("log"));
}

/// What the last search listed and did.
std::string searched(const QAbstractItemModel& list)
{
    const QString calls = libraryLog().section("viFindRsrc", -1);
    return "lists " + names(list) + "in " + std::to_string(1 + calls.count("viFindNext")) + " calls, closes" +
           calls.section("viClose", 1).remove("viClose").remove('\n').toStdString();
}

} // namespace

// A library that lies, to the search for everything and to the one for ports. It opens session 1 and list 2.
TABLE(Searches, BearWhatTheLibrarySays,
      Row{"Warning", "find=1",
          "lists in 1 calls, closes 1\n"
          "lists ASRL2 ASRL1 in 3 calls, closes 2 1"},
      Row{"CountOfZero", "count=0",
          "lists in 1 calls, closes 1\n"
          "lists in 1 calls, closes 2 1"},
      Row{"CountTooLarge", "count=-1",
          "lists ASRL1 ASRL2 aÄ in 10000 calls, closes 2 1\n"
          "lists ASRL2 ASRL1 in 3 calls, closes 2 1"},
      Row{"WarningOfTheNext", "next1=1",
          "lists ASRL1 ASRL2 in 3 calls, closes 2 1\n"
          "lists ASRL2 in 2 calls, closes 2 1"})
{
    writeFile("script", "ASRL2 aÄ ASRL1 " + GetParam().text);
    Dialog::updateResourceList();
    const std::string everything = searched(*Dialog().list.model());
    Model model(nullptr);
    EXPECT_EQ(everything + '\n' + searched(*Properties(model).ports.model()), GetParam().expected);
}

TEST(Model, NamesItsColumnsAndSignalsOneRowTooMany)
{
    writeConfiguration("R\nS\n");
    Model model(nullptr);
    QSignalSpy removing(&model, &Model::rowsAboutToBeRemoved);
    QSignalSpy changed(&model, &Model::dataChanged);
    EXPECT_FALSE(model.removeRows(1, 2));
    EXPECT_TRUE(model.removeRows(0, 1));
    EXPECT_EQ(removing.value(0).value(2).toInt(), 1);
    EXPECT_EQ(changed.value(0).value(1).toModelIndex().row(), 1);
    EXPECT_EQ(model.headerData(1, Qt::Horizontal), "Alias");
}

TEST(MainWindow, ShowsTheBeginningOfALongTextAndEditsAllOfIt)
{
    const QString text(100000, 'x');
    writeConfiguration(text.toStdString());
    Window window;
    const auto* delegate = qobject_cast<QStyledItemDelegate*>(window.view.itemDelegate());
    EXPECT_EQ(delegate->displayText(text, {}).toStdString(), std::string(255, 'x') + "…");
    window.view.edit(window.model.index(0, 0));
    EXPECT_EQ(window.view.viewport()->findChild<QLineEdit*>()->text().size(), text.size());
}

TEST(MainWindow, NamesItsFile)
{
    const Window window;
    EXPECT_EQ(window.view.horizontalHeader()->toolTip().toStdString(),
              "<p style='white-space:pre'>The first save makes " + perUserFile().string());
}

TEST(MainWindow, HasAMenuInItsTable)
{
    writeConfiguration("A");
    const Window window;
    const auto menu = [](QWidget* widget, int y) {
        QContextMenuEvent event(QContextMenuEvent::Mouse, {1, y});
        QCoreApplication::sendEvent(widget, &event);
        const QWidget* popup = QApplication::activePopupWidget();
        std::string entries;
        for (const QAction* action : popup == nullptr ? QList<QAction*>() : popup->actions())
            entries += action->icon().availableSizes().empty() ? "?" : action->text().toStdString() + '.';
        return entries;
    };
    EXPECT_EQ(menu(window.findChild<QToolBar*>(), 1), "");
    EXPECT_EQ(menu(window.view.viewport(), 1), "Add Resource.Remove resource.Edit.?Find Resource.");
    EXPECT_EQ(menu(window.view.viewport(), -1), "Add Resource.");
}

TEST(Windows, NameTheirControlsForThoseWhoDoNotSeeThem)
{
    writeFile("script", "ASRL1");
    const Window window;
    const Properties properties(window.model);
    const gui::RsrcStringEditor composer(nullptr);
    const Dialog dialog;
    QStringList nameless;
    for (const QWidget* each : QApplication::allWidgets())
    {
        const auto labels = each->window()->findChildren<QLabel*>();
        const auto isItsOwn = [&](const QLabel* label) { return label->buddy() == each; };
        const QString text = each->inherits("QAbstractButton") ? each->property("text").toString().remove("...") : "";
        if (each->focusPolicy() != Qt::NoFocus && (each->accessibleName() + text).isEmpty() &&
            std::none_of(labels.begin(), labels.end(), isItsOwn))
            nameless += each->objectName();
    }
    nameless.sort();
    // A name of each tab is there, and nobody sees the others.
    EXPECT_EQ(nameless.join(' ').toStdString(), "PropertyTree qt_tabwidget_tabbar qt_toolbar_ext_button rsrcTable");
}

TEST(ResourceDialog, WaitsVisiblyForTheSearchOfTheWindow)
{
    writeFile("script", "B A gate");
    const Window window; // does not wait
    EXPECT_TRUE(QTest::qWaitFor([] { return libraryLog().contains("viFindRsrc"); }, 30000));
    Dialog dialog, other;
    bool waits = false;
    // The list becomes empty during a search.
    QObject::connect(dialog.list.model(), &QAbstractItemModel::modelReset, &window, [&] {
        const QCursor* cursor = QGuiApplication::overrideCursor();
        waits = cursor != nullptr && cursor->shape() == Qt::WaitCursor && dialog.cursor().shape() == Qt::WaitCursor &&
                !dialog.findChild<QDialogButtonBox*>()->isEnabled() && !dialog.refresh.isEnabled();
        QMetaObject::invokeMethod(&dialog.refresh, "click", Qt::QueuedConnection);
        writeFile("gate", "");
    });
    dialog.show();
    EXPECT_TRUE(waits) << "the dialog did not wait, or not visibly";
    other.show(); // That search has ended since its construction.
    EXPECT_EQ(names(*dialog.list.model()) + names(*other.list.model()), "A B A B ");
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    QCoreApplication::processEvents(); // The click from the wait searches again.
    QCoreApplication::processEvents(); // The click during that search has gone nowhere.
    EXPECT_EQ(libraryLog().count("viFindRsrc"), 2);
    dialog.list.model()->disconnect(&window); // Its destructor resets the model, too.
}

TEST(ResourceDialog, TakesTheItemThatIsClickedTwice)
{
    writeFile("script", "B A");
    Dialog::updateResourceList();
    EXPECT_EQ(libraryLog().section("viFindRsrc", 0, 0).toStdString(),
              "viOpenDefaultRM\nviSetAttribute 1 0xf9c0002 7\nviSetAttribute 1 0xf9c0001 1000\n");
    Dialog dialog;
    dialog.list.setCurrentRow(1);
    emit dialog.list.itemDoubleClicked(nullptr);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(dialog.getResource().toStdString(), "B");
}

TEST(SerialPage, ShowsWhatItsListsDoNotHave)
{
    writeFile("script", "ASRL1::INSTR ASRL20::INSTR");
    Model model(nullptr);
    model.m_serialProperties = {{7, {1, 2, 3, 4, 5}}, {20, {250000, 5, 3, 5, 4}}};
    Properties dialog(model);
    EXPECT_EQ(libraryLog().section("viFindRsrc", 0, 0).toStdString(),
              "viOpenDefaultRM\nviSetAttribute 1 0xf9c0002 0\n");
    dialog.ports.setCurrentIndex(1);
    const auto& rates = *dialog.findChild<QComboBox*>("comboBoxKyBaudrate");
    EXPECT_EQ(rates.currentIndex(), 0);
    EXPECT_EQ(rates.count(), 17);
    dialog.accept();
    EXPECT_EQ(model.m_serialProperties,
              (KyVisa::SerialPropertiesMap{{1, {}}, {7, {1, 2, 3, 4, 5}}, {20, {250000, 5, 255, 255, 6}}}));
}

TEST(GpibPage, WorksAlthoughNobodySeesIt)
{
    Model model(nullptr);
    Properties dialog(model);
    dialog.addDevice();
    dialog.findChild<QTreeWidget*>()->topLevelItem(0)->child(0)->setText(1, "7");
    dialog.accept();
    EXPECT_EQ(model.m_gpibProperties, (KyVisa::GpibPropertiesMap{{0, {7, 65535, 1}}}));
}
