// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "config/ConfigurationFile.h"
#include "gui/MainWindow.h"

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>
#include <QWindow>

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>

#include <gtest/gtest.h>

namespace
{

QString unescaped(const QString& text)
{
    return QJsonDocument::fromJson(("[\"" + text + "\"]").toUtf8()).array().at(0).toString();
}

QString inOneLine(const std::string& bytes)
{
    const QString text = QString::fromLatin1(bytes.data(), static_cast<int>(bytes.size()));
    return QString(text).replace('\n', "; ").replace('\r', "\\r").trimmed();
}

QString inOneLine(const std::vector<std::string>& texts)
{
    return inOneLine(std::accumulate(texts.begin(), texts.end(), std::string(),
                                     [](const auto& line, const auto& text) { return line + text + ' '; }));
}

/// The rows, of a table those on the screen, each with its columns and the rows below it.
QString shownItems(const QAbstractItemView& view, const QModelIndex& parent = {})
{
    const auto* table = qobject_cast<const QTableView*>(&view);
    const QAbstractItemModel& model = *view.model();
    QStringList rows;
    for (int row = 0; row < model.rowCount(parent); ++row)
    {
        const QModelIndex first = model.index(row, 0, parent);
        if (table != nullptr && !view.visualRect(first).intersects(view.viewport()->rect()))
            continue;
        QString text = first.data().toString();
        for (int column = 1; column < model.columnCount(parent); ++column)
            text += '=' + first.siblingAtColumn(column).data().toString();
        const QVariant check = first.siblingAtColumn(2).data(Qt::CheckStateRole);
        text += check.isValid() ? check.toInt() == Qt::Checked ? "on" : "off" : "";
        text += model.hasChildren(first) ? "{" + shownItems(view, first) + "}" : QString();
        rows += view.selectionModel()->isSelected(first) ? "(" + text + ")" : text;
    }
    if (table != nullptr && table->verticalHeader()->count() != model.rowCount())
        rows += "and rows that are none";
    return rows.join(' ');
}

QString shownText(const QWidget& widget)
{
    if (const auto* view = qobject_cast<const QAbstractItemView*>(&widget))
        return shownItems(*view);
    if (const auto* box = qobject_cast<const QComboBox*>(&widget))
        return QString("%1 of %2 from %3").arg(box->currentText()).arg(box->count()).arg(box->itemText(0)).trimmed();
    if (const auto* message = qobject_cast<const QMessageBox*>(&widget))
        return message->windowTitle() + ": " + message->text();
    if (widget.isWindow())
        return QString("%1 %2x%3 at %4,%5%6")
            .arg(widget.windowTitle())
            .arg(widget.width())
            .arg(widget.height())
            .arg(widget.x())
            .arg(widget.y())
            .arg(widget.isMaximized() ? " maximised" : "");
    return widget.property(qobject_cast<const QTabWidget*>(&widget) != nullptr ? "currentIndex" : "text").toString();
}

KyVisa::ConfigurationFile& store()
{
    return KyVisa::ConfigurationFile::getInstance();
}

/// The provider, and what getResource() gives up to the first index past the end.
QString loadedEntries()
{
    store().load();
    std::vector<std::string> texts = {std::to_string(store().m_provider)};
    for (std::string resource, alias; true;)
    {
        resource = store().getResource(texts.size() - 1, alias);
        if (resource.empty() && alias.empty())
            return inOneLine(texts);
        texts.push_back("[" + resource + "=" + alias + "]");
    }
}

QString resolved(std::string name)
{
    return store().replaceAlias(name) ? QString::fromStdString(name) : QString();
}

/// Makes the records what the text says, "none" or NUMBER=FIELD,FIELD..., if it says anything. Returns them.
template <typename Record, typename... Fields>
QString exchange(std::map<std::uint16_t, Record>& records, const QString& text, Fields Record::*... field)
{
    if (!text.isEmpty())
        records.clear();
    for (const QString& word : text.split(' ').filter("="))
    {
        QStringList values = word.section('=', 1).split(',');
        Record& record = records[word.section('=', 0, 0).toUShort()];
        ((record.*field = static_cast<Fields>(values.takeFirst().toUInt())), ...);
    }
    QStringList words;
    for (const auto& [number, record] : records)
        words += QString::number(number) + "=" + (QStringList() << ... << QString::number(record.*field)).join(',');
    return words.join(' ');
}

void makeCurrent(QWidget& widget, int index)
{
    if (auto* tree = qobject_cast<QTreeWidget*>(&widget))
        tree->setCurrentItem(tree->topLevelItem(index)->child(0));
    else if (auto* view = qobject_cast<QAbstractItemView*>(&widget))
        index < 0 ? view->clearSelection() : view->setCurrentIndex(view->model()->index(index, 0));
    else
        widget.setProperty("currentIndex", index);
}

void type(QLineEdit& edit, const QString& text)
{
    edit.selectAll();
    QTest::keyClick(&edit, Qt::Key_Delete);
    QTest::keyClick(&edit, Qt::Key_Home);
    QTest::keyClicks(&edit, text);
}

void doubleClick(QListWidget& list, int row)
{
    const QPoint place = list.visualItemRect(list.item(row)).center();
    QTest::mouseClick(list.viewport(), Qt::LeftButton, Qt::NoModifier, place);
    QTest::mouseDClick(list.viewport(), Qt::LeftButton, Qt::NoModifier, place);
}

void editBoard(QTreeWidget& tree, int board, int column, const QString& text)
{
    QTreeWidgetItem& item = *tree.topLevelItem(board)->child(0);
    if (text == "on" || text == "off")
        item.setCheckState(column, text == "on" ? Qt::Checked : Qt::Unchecked);
    else
        item.setText(column, text);
}

QString contextMenu(QAbstractItemView& view, int y)
{
    emit view.customContextMenuRequested(QPoint(1, y < 0 ? view.viewport()->height() + y : y));
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    QStringList entries;
    for (const QAction* action : menu->actions())
        entries += action->isSeparator() ? "|" : action->text() + ",";
    menu->close();
    return entries.join(' ');
}

void waitForSearch()
{
    if (!QTest::qWaitFor([] { return readFile(World::callLog()).find("viClose") != std::string::npos; }))
        throw std::runtime_error("no search has ended");
}

/// A test written as text: each line is a command, and a line that begins with "= " is what the command before it
/// has to print, or "nothing". Commands go to the uppermost modal dialog, or to the main window. In arguments `\n`,
/// `\u0020` and the like are escapes.
///
///   conf TEXT, file TEXT       writes the per-user visa.conf, with and without a version line
///   store TEXT, settings       writes and prints the stored window settings
///   visa TEXT                  tells the scripted libkyvisa.so what to do
///   calls, forget              prints, or only forgets, the VISA calls since the last such command
///   start, maximise, stop      makes and shows the main window; maximises it; closes and destroys it
///   searched                   waits until the search that the start begins has ended
///   do ACTION                  triggers an action
///   press BUTTON               clicks a button, by its object name or its text
///   set EDIT TEXT, type EDIT TEXT   sets a line edit's text; types it, key by key, in the place of the old one
///   choose WIDGET INDEX        makes an item, a tab or a row current
///   cell ROW COLUMN TEXT, leaveOpen ROW COLUMN TEXT   edits a cell of the table; without ending the edit
///   board ROW COLUMN TEXT      edits a GPIB board; "on" and "off" are for the check box
///   double LIST ROW, click Y   double-clicks a row; clicks into the table of the main window
///   menu WIDGET Y              prints the context menu of a place; a negative one is counted from the lower edge
///   show [WIDGET]              prints what a widget shows, what is selected in parentheses, or where the window is
///   visible NAME..., enabled NAME...   prints those of the names for which it is true
///   ports, boards [RECORD...]  prints the model's serial or GPIB records, having made them what is said
///   saved, loaded              prints visa.conf as it is, or the provider and the entries that the store loads from it
///   resources, alias RESOURCE, resolve ALIAS   prints what the store answers
class Scenario : public QObject
{
public:
    explicit Scenario(const QString& text);

    /// Runs the commands. Returns the text with what they printed in the place of what they had to print.
    QString run();

private:
    void step();
    [[nodiscard]] std::optional<QString> execute(const QString& command, const QString& argument);
    template <typename Object = QWidget>
    [[nodiscard]] Object& named(const QString& name) const;
    [[nodiscard]] QAbstractButton& button(const QString& name) const;
    [[nodiscard]] QWidget& form() const;

    [[nodiscard]] ConfigurationModel& model() const { return *m_window->findChild<ConfigurationModel*>(); }

    QLineEdit& openEditor(int row, int column, const QString& text) const;
    void click(int y) const;

    QStringList m_lines;
    QStringList m_transcript;
    std::unique_ptr<gui::MainWindow> m_window;
    bool m_ended = false;
};

} // namespace

Scenario::Scenario(const QString& text) : m_lines(text.split('\n')) {}

QString Scenario::run()
{
    step();
    while (!m_ended)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return m_transcript.join('\n');
}

void Scenario::step()
{
    m_ended = m_lines.isEmpty();
    while (m_ended && QApplication::activeModalWidget() != nullptr)
    {
        m_transcript += "= error: this is still open: " + QApplication::activeModalWidget()->windowTitle();
        QApplication::activeModalWidget()->close();
    }
    if (m_ended)
        return;
    // A command that opens a dialog returns when the dialog is closed: those in between run in the dialog's own loop.
    QTimer::singleShot(1, this, &Scenario::step);
    const QWidget* dialog = QApplication::activeModalWidget();
    if (dialog != nullptr && dialog->cursor().shape() == Qt::WaitCursor)
        return;
    const QString line = m_lines.takeFirst();
    if (line.startsWith("= "))
        return;
    m_transcript += line;
    if (line.isEmpty() || line.startsWith('#'))
        return;
    try
    {
        const std::optional<QString> output = execute(line.section(' ', 0, 0), unescaped(line.section(' ', 1)));
        if (output)
            m_transcript += "= " + (output->isEmpty() ? QString("nothing") : *output);
    }
    catch (const std::exception& error)
    {
        m_transcript += QString("= error: ") + error.what();
    }
}

QWidget& Scenario::form() const
{
    QWidget* dialog = QApplication::activeModalWidget();
    return dialog != nullptr ? *dialog : *m_window;
}

template <typename Object>
Object& Scenario::named(const QString& name) const
{
    auto* object = form().findChild<Object*>(name);
    if (object == nullptr)
        throw std::runtime_error("nothing is named " + name.toStdString());
    return *object;
}

QAbstractButton& Scenario::button(const QString& name) const
{
    for (auto* each : form().findChildren<QAbstractButton*>())
    {
        if (each->text().remove('&') == name)
            return *each;
    }
    return named<QAbstractButton>(name);
}

QLineEdit& Scenario::openEditor(int row, int column, const QString& text) const
{
    auto* view = m_window->findChild<QTableView*>();
    view->edit(model().index(row, column));
    // Editors that were closed just now may still be there.
    QLineEdit* editor = view->viewport()->findChildren<QLineEdit*>().last();
    editor->setText(text);
    return *editor;
}

void Scenario::click(int y) const
{
    const QWidget& viewport = *m_window->findChild<QTableView*>()->viewport();
    const QPoint place = viewport.mapTo(m_window.get(), QPoint(1, y));
    QTest::mouseClick(m_window->windowHandle(), Qt::LeftButton, Qt::NoModifier, place);
}

std::optional<QString> Scenario::execute(const QString& command, const QString& argument)
{
    const std::string bytes = argument.toLatin1().toStdString();
    const QStringList words = argument.split(' ');
    const QString rest = argument.section(' ', 1);
    const QString last = argument.section(' ', 2);
    const auto namesWith = [&](const char* property) {
        QStringList names = words;
        const auto lacks = [&](const QString& name) { return !named<QObject>(name).property(property).toBool(); };
        names.erase(std::remove_if(names.begin(), names.end(), lacks), names.end());
        return names.join(' ');
    };
    const std::map<QString, std::function<void()>> commands = {
        {"conf", [&] { writeConfiguration(bytes); }},
        {"file", [&] { writeFile(World::configurationFile(), bytes); }},
        {"visa", [&] { scriptVisa(bytes); }},
        {"forget", [] { takeVisaCalls(); }},
        {"store", [&] { writeFile(World::settingsFile(), bytes); }},
        {"start", [&] { (m_window = std::make_unique<gui::MainWindow>())->show(); }},
        {"searched", [] { waitForSearch(); }},
        {"maximise", [&] { m_window->showMaximized(); }},
        {"stop", [&] { m_window->close() ? m_window.reset() : void(); }},
        {"do", [&] { named<QAction>(argument).trigger(); }},
        {"press", [&] { button(argument).click(); }},
        {"set", [&] { named<QLineEdit>(words[0]).setText(rest); }},
        {"type", [&] { type(named<QLineEdit>(words[0]), rest); }},
        {"choose", [&] { makeCurrent(named(words[0]), rest.toInt()); }},
        {"cell", [&] { QTest::keyClick(&openEditor(words[0].toInt(), words[1].toInt(), last), Qt::Key_Return); }},
        {"leaveOpen", [&] { openEditor(words[0].toInt(), words[1].toInt(), last); }},
        {"board", [&] { editBoard(named<QTreeWidget>("PropertyTree"), words[0].toInt(), words[1].toInt(), last); }},
        {"double", [&] { doubleClick(named<QListWidget>(words[0]), rest.toInt()); }},
        {"click", [&] { click(argument.toInt()); }},
    };
    const std::map<QString, std::function<QString()>> questions = {
        {"settings", [] { return inOneLine(readFile(World::settingsFile())); }},
        {"calls", [] { return inOneLine(takeVisaCalls()); }},
        {"saved", [] { return inOneLine(readFile(World::configurationFile())); }},
        {"loaded", [] { return loadedEntries(); }},
        {"resources", [] { return inOneLine(store().getAllResources()); }},
        {"alias", [&] { return QString::fromStdString(store().lookupAlias(bytes)); }},
        {"resolve", [&] { return resolved(bytes); }},
        {"ports",
         [&] {
             using Port = KyVisa::SSerialProperties;
             return exchange(model().m_serialProperties, argument, &Port::baudRate, &Port::dataBits, &Port::stopBits,
                             &Port::parity, &Port::flowControl);
         }},
        {"boards",
         [&] {
             using Board = KyVisa::SGpibProperties;
             return exchange(model().m_gpibProperties, argument, &Board::primaryAddress, &Board::secondaryAddress,
                             &Board::systemController);
         }},
        {"menu", [&] { return contextMenu(named<QAbstractItemView>(words[0]), rest.toInt()); }},
        {"show", [&] { return shownText(argument.isEmpty() ? form() : named(argument)); }},
        {"visible", [&] { return namesWith("visible"); }},
        {"enabled", [&] { return namesWith("enabled"); }},
    };
    if (commands.count(command) == 0)
        return questions.at(command)();
    commands.at(command)();
    return std::nullopt;
}

class ScenarioFiles : public ::testing::TestWithParam<std::filesystem::directory_entry>
{
};

TEST_P(ScenarioFiles, Runs)
{
    const std::string text = readFile(GetParam().path());
    EXPECT_EQ(Scenario(QString::fromStdString(text)).run().toStdString(), text);
}

INSTANTIATE_TEST_SUITE_P(
    , ScenarioFiles,
    ::testing::ValuesIn(std::filesystem::directory_iterator(qEnvironmentVariable("SCENARIOS", SCENARIOS).toStdString()),
                        std::filesystem::directory_iterator()),
    [](const auto& file) { return file.param.path().stem().string(); });
