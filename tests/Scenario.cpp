// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/MainWindow.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <functional>
#include <map>

#include <gtest/gtest.h>

namespace
{

constexpr int waitAtMost = 30000; // milliseconds

/// With `\n`, `\u0020` and the like for what a line cannot contain.
QString unescaped(const QString& text)
{
    const QJsonArray array = QJsonDocument::fromJson(("[\"" + text + "\"]").toUtf8()).array();
    if (array.isEmpty())
        throw std::runtime_error("a quote or a backslash needs a backslash before it");
    return array.at(0).toString();
}

int number(const QString& text)
{
    bool isNumber = false;
    const int result = text.toInt(&isNumber);
    if (!isNumber)
        throw std::runtime_error(text.toStdString() + " is no number");
    return result;
}

QString inOneLine(const std::string& bytes)
{
    const QString text = QString::fromLatin1(bytes.data(), static_cast<int>(bytes.size()));
    return QString(text).replace('\n', "; ").replace('\r', "\\r").trimmed();
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

void makeCurrent(QWidget& widget, int index)
{
    auto* view = qobject_cast<QAbstractItemView*>(&widget);
    if (view == nullptr)
        widget.setProperty("currentIndex", index);
    else if (index < 0)
        view->clearSelection();
    else
        view->setCurrentIndex(view->model()->index(index, 0));
}

void type(QLineEdit& edit, const QString& text)
{
    edit.selectAll();
    QTest::keyClick(&edit, Qt::Key_Delete);
    QTest::keyClick(&edit, Qt::Key_Home);
    QTest::keyClicks(&edit, text);
}

void doubleClick(QAbstractItemView& list, int row)
{
    const QPoint place = list.visualRect(list.model()->index(row, 0)).center();
    QTest::mouseClick(list.viewport(), Qt::LeftButton, Qt::NoModifier, place);
    QTest::mouseDClick(list.viewport(), Qt::LeftButton, Qt::NoModifier, place);
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
    const auto hasEnded = [] { return readFile(World::callLog()).find("viClose") != std::string::npos; };
    if (!QTest::qWaitFor(hasEnded, waitAtMost))
        throw std::runtime_error("no search has ended");
}

/// A test written as text; README.md in the folder of the scenarios explains it.
class Scenario : public QObject
{
public:
    explicit Scenario(std::filesystem::path file);

    /// Runs the lines up to the first one that fails, which fails the GoogleTest case.
    void run();

private:
    struct Command
    {
        const char* arguments; ///< their names; those in brackets may be left out
        std::function<void()> act;
        std::function<QString()> answer; ///< instead of `act`, where the line is a check
    };

    void step();
    void end();
    void runLine(int number);
    void fail(int number, const QString& reason);
    void execute(const QString& line, int number);
    [[nodiscard]] std::map<QString, Command> commands(const QStringList& words);
    template <typename Object = QWidget>
    [[nodiscard]] Object& named(const QString& name) const;
    [[nodiscard]] QAbstractButton& button(const QString& name) const;
    [[nodiscard]] QWidget& form() const;
    [[nodiscard]] gui::MainWindow& window() const;
    [[nodiscard]] QLineEdit& openEditor(const QString& row, const QString& column) const;
    [[nodiscard]] QString shown(const QStringList& names) const;
    [[nodiscard]] QString namesWith(const char* property, const QStringList& names) const;
    void click(int y) const;

    const std::filesystem::path m_file;
    const QStringList m_lines;
    int m_done = 0;
    bool m_failed = false;
    bool m_ended = false;
    QDeadlineTimer m_deadline{waitAtMost};
    std::unique_ptr<gui::MainWindow> m_window;
};

} // namespace

Scenario::Scenario(std::filesystem::path file)
    : m_file(std::move(file)), m_lines(QString::fromStdString(readFile(m_file)).split('\n'))
{
}

void Scenario::run()
{
    step();
    while (!m_ended)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void Scenario::step()
{
    if (m_failed || m_done == m_lines.size())
    {
        end();
        return;
    }
    // A command that opens a dialog returns when the dialog is closed: those in between run in the dialog's own loop.
    QTimer::singleShot(1, this, &Scenario::step);
    const QWidget* dialog = QApplication::activeModalWidget();
    if (dialog != nullptr && dialog->cursor().shape() == Qt::WaitCursor)
    {
        if (m_deadline.hasExpired())
            fail(m_done, "error: the dialog waits for ever");
        return;
    }
    m_deadline.setRemainingTime(waitAtMost);
    runLine(++m_done);
}

void Scenario::end()
{
    m_ended = true;
    const QWidget* open = QApplication::activeModalWidget();
    if (open != nullptr && !m_failed)
        fail(m_done, "error: this window is still open: " + open->windowTitle());
    while (QApplication::activeModalWidget() != nullptr && QApplication::activeModalWidget()->close())
        continue;
}

void Scenario::runLine(int number)
{
    const QString& line = m_lines[number - 1];
    if (line.isEmpty() || line.startsWith('#'))
        return;
    try
    {
        execute(line, number);
    }
    catch (const std::exception& error)
    {
        fail(number, QString("error: ") + error.what());
    }
}

void Scenario::fail(int number, const QString& reason)
{
    constexpr int linesBefore = 3;
    QString text;
    for (int each = std::max(number - linesBefore, 1); each <= number; ++each)
        text += QString("%1  %2\n").arg(each, 5).arg(m_lines[each - 1]);
    ADD_FAILURE_AT(m_file.c_str(), number) << text.toStdString() << reason.toStdString();
    m_failed = true;
}

void Scenario::execute(const QString& line, int number)
{
    const QString sign = " -> ";
    const QString asked = line.section(sign, 0, 0);
    const QStringList words = unescaped(asked).split(' ');
    const auto known = commands(words);
    const auto found = known.find(words[0]);
    if (found == known.end())
        throw std::runtime_error("there is no command " + words[0].toStdString());
    const Command& command = found->second;
    const QStringList names = QString(command.arguments).split(' ', Qt::SkipEmptyParts);
    const QString usage = words[0] + ' ' + command.arguments + (command.answer ? sign + "ANSWER" : QString());
    if (words.size() <= names.size() - names.filter("[").size() || line.contains(sign) != bool(command.answer))
        throw std::runtime_error("this is not " + usage.toStdString());
    if (command.act)
    {
        command.act();
        return;
    }
    const QString expected = line.section(sign, 1);
    const QString answer = command.answer();
    const QString actual = answer.isEmpty() ? "nothing" : answer;
    if (actual != expected)
        fail(number, "expected: " + expected + "\nactual:   " + actual);
}

gui::MainWindow& Scenario::window() const
{
    if (m_window == nullptr)
        throw std::runtime_error("there is no window");
    return *m_window;
}

QWidget& Scenario::form() const
{
    QWidget* dialog = QApplication::activeModalWidget();
    return dialog != nullptr ? *dialog : window();
}

template <typename Object>
Object& Scenario::named(const QString& name) const
{
    auto* object = form().findChild<Object*>(name);
    if (object == nullptr)
        throw std::runtime_error(QString("%1 has no %2 %3")
                                     .arg(form().windowTitle(), Object::staticMetaObject.className(), name)
                                     .toStdString());
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

QLineEdit& Scenario::openEditor(const QString& row, const QString& column) const
{
    auto* view = window().findChild<QTableView*>();
    view->edit(view->model()->index(number(row), number(column)));
    const auto editors = view->viewport()->findChildren<QLineEdit*>();
    if (editors.isEmpty())
        throw std::runtime_error("the cell has no editor");
    // Editors that were closed just now may still be there.
    return *editors.last();
}

QString Scenario::shown(const QStringList& names) const
{
    QStringList texts;
    for (const QString& name : names)
        texts += shownText(named(name));
    return names.isEmpty() ? shownText(form()) : texts.join(" | ");
}

QString Scenario::namesWith(const char* property, const QStringList& names) const
{
    QStringList having;
    for (const QString& name : names)
    {
        if (named<QObject>(name).property(property).toBool())
            having += name;
    }
    return having.join(' ');
}

void Scenario::click(int y) const
{
    const QWidget& viewport = *window().findChild<QTableView*>()->viewport();
    const QPoint place = viewport.mapTo(&window(), QPoint(1, y));
    QTest::mouseClick(window().windowHandle(), Qt::LeftButton, Qt::NoModifier, place);
}

std::map<QString, Scenario::Command> Scenario::commands(const QStringList& words)
{
    const QStringList arguments = words.mid(1);
    const auto textFrom = [words](int position) { return words.mid(position).join(' '); };
    const auto bytes = [=] { return textFrom(1).toLatin1().toStdString(); };
    const auto opened = [=]() -> QLineEdit& {
        QLineEdit& editor = openEditor(words[1], words[2]);
        editor.setText(textFrom(3));
        return editor;
    };
    return {
        {"conf", {"[LINES]", [=] { writeConfiguration(bytes()); }, {}}},
        {"forget", {"", [] { takeVisaCalls(); }, {}}},
        {"visa", {"LINES", [=] { scriptVisa(bytes()); }, {}}},
        {"store", {"LINES", [=] { writeFile(World::settingsFile(), bytes()); }, {}}},
        {"start", {"", [=] { (m_window = std::make_unique<gui::MainWindow>())->show(); }, {}}},
        {"searched", {"", [] { waitForSearch(); }, {}}},
        {"maximise", {"", [=] { window().showMaximized(); }, {}}},
        {"stop", {"", [=] { window().close() ? m_window.reset() : void(); }, {}}},
        {"do", {"ACTION", [=] { named<QAction>(words[1]).trigger(); }, {}}},
        {"press", {"BUTTON", [=] { button(words[1]).click(); }, {}}},
        {"set", {"EDIT [TEXT]", [=] { named<QLineEdit>(words[1]).setText(textFrom(2)); }, {}}},
        {"type", {"EDIT [TEXT]", [=] { type(named<QLineEdit>(words[1]), textFrom(2)); }, {}}},
        {"choose", {"WIDGET INDEX", [=] { makeCurrent(named(words[1]), number(words[2])); }, {}}},
        {"cell", {"ROW COLUMN [TEXT]", [=] { QTest::keyClick(&opened(), Qt::Key_Return); }, {}}},
        {"leaveOpen", {"ROW COLUMN [TEXT]", [=] { opened(); }, {}}},
        {"double", {"LIST ROW", [=] { doubleClick(named<QAbstractItemView>(words[1]), number(words[2])); }, {}}},
        {"click", {"Y", [=] { click(number(words[1])); }, {}}},
        {"settings", {"", {}, [] { return inOneLine(readFile(World::settingsFile())); }}},
        {"calls", {"", {}, [] { return inOneLine(takeVisaCalls()); }}},
        {"saved", {"", {}, [] { return inOneLine(readFile(World::configurationFile())); }}},
        {"editor", {"ROW COLUMN", {}, [=] { return openEditor(words[1], words[2]).text(); }}},
        {"menu", {"WIDGET Y", {}, [=] { return contextMenu(named<QAbstractItemView>(words[1]), number(words[2])); }}},
        {"show", {"[WIDGET...]", {}, [=] { return shown(arguments); }}},
        {"visible", {"WIDGET...", {}, [=] { return namesWith("visible", arguments); }}},
        {"enabled", {"NAME...", {}, [=] { return namesWith("enabled", arguments); }}},
    };
}

namespace
{

const std::filesystem::path folder = qEnvironmentVariable("SCENARIOS", SCENARIOS).toStdString();

std::vector<std::string> scenarios()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        if (entry.path().extension() == ".txt")
            names.push_back(entry.path().stem().string());
    }
    return names;
}

class ScenarioFiles : public ::testing::TestWithParam<std::string>
{
};

} // namespace

TEST_P(ScenarioFiles, Runs)
{
    Scenario(folder / (GetParam() + ".txt")).run();
}

INSTANTIATE_TEST_SUITE_P(, ScenarioFiles, ::testing::ValuesIn(scenarios()),
                         [](const auto& name) { return name.param; });
