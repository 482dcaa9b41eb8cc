// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/MainWindow.h"

#include <QAbstractButton>
#include <QAccessible>
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

#include <functional>
#include <map>

namespace
{

constexpr int waitAtMost = 30000; // milliseconds

std::unique_ptr<gui::MainWindow> mainWindow;

void require(bool holds, const QString& message)
{
    if (!holds)
        throw std::runtime_error(message.toStdString());
}

QString unescaped(const QString& text)
{
    const QJsonArray array = QJsonDocument::fromJson(("[\"" + text + "\"]").toUtf8()).array();
    require(!array.isEmpty(), "a quote or a backslash needs a backslash before it");
    return array.at(0).toString();
}

int number(const QString& text)
{
    bool isNumber = false;
    const int result = text.toInt(&isNumber);
    require(isNumber, text + " is no number");
    return result;
}

QString inOneLine(const std::string& bytes)
{
    return QString::fromLatin1(bytes.c_str()).replace('\n', "; ").trimmed();
}

std::string bytesFrom(const QStringList& words)
{
    return words.mid(1).join(' ').toLatin1().toStdString();
}

QWidget& form()
{
    QWidget* dialog = QApplication::activeModalWidget();
    require(dialog != nullptr || mainWindow != nullptr, "there is no window");
    return dialog != nullptr ? *dialog : *mainWindow;
}

template <typename Object = QWidget>
Object& named(const QString& name)
{
    auto* object = form().findChild<Object*>(name);
    require(object != nullptr, form().windowTitle() + " has no " + Object::staticMetaObject.className() + ' ' + name);
    return *object;
}

QAbstractButton& button(const QString& name)
{
    for (auto* each : form().findChildren<QAbstractButton*>())
    {
        if (each->text().remove('&') == name)
            return *each;
    }
    return named<QAbstractButton>(name);
}

/// The rows that the view knows of, each with its columns.
QString shownRows(const QAbstractItemView& view)
{
    const auto* table = qobject_cast<const QTableView*>(&view);
    QStringList rows;
    for (int row = 0; row < (table != nullptr ? table->verticalHeader()->count() : view.model()->rowCount()); ++row)
    {
        const QModelIndex first = view.model()->index(row, 0);
        const QString text = first.data().toString() + (table != nullptr ? "=" : "") +
                             (table != nullptr ? first.siblingAtColumn(1).data().toString() : "");
        rows += view.selectionModel()->isSelected(first) ? "(" + text + ")" : text;
    }
    return rows.join(' ');
}

QString shown(const QWidget& widget)
{
    if (const auto* view = qobject_cast<const QAbstractItemView*>(&widget))
        return shownRows(*view);
    if (const auto* box = qobject_cast<const QComboBox*>(&widget))
        return QString("%1 of %2 from %3").arg(box->currentText()).arg(box->count()).arg(box->itemText(0)).trimmed();
    if (const auto* message = qobject_cast<const QMessageBox*>(&widget))
        return message->windowTitle() + ": " + message->text();
    if (widget.isWindow())
        return QString::asprintf("%s %dx%d at %d,%d%s", qPrintable(widget.windowTitle()), widget.width(),
                                 widget.height(), widget.x(), widget.y(), widget.isMaximized() ? " maximised" : "");
    return widget.property(widget.inherits("QTabWidget") ? "currentIndex" : "text").toString();
}

QString shownByName(const QStringList& words)
{
    QStringList texts;
    for (const QString& name : words.mid(1))
        texts += shown(named(name));
    return texts.isEmpty() ? shown(form()) : texts.join(" | ");
}

QString namesWith(const char* property, const QStringList& words)
{
    QStringList names;
    for (const QString& name : words.mid(1))
        names += named<QObject>(name).property(property).toBool() ? QStringList(name) : QStringList();
    return names.join(' ');
}

/// Goes round once by Tab. Returns the controls that have no name of their own, and those that
/// Tab does not reach or reaches twice.
QString keyboardFaults()
{
    QStringList faults;
    QMap<QWidget*, int> reached;
    for (auto* each : form().findChildren<QWidget*>())
    {
        if (!each->isVisible() || !each->isEnabled() || each->focusPolicy() == Qt::NoFocus || each->focusProxy())
            continue;
        reached.insert(each, 0);
        const QWidget* group = each->parentWidget();
        const QString name = QAccessible::queryAccessibleInterface(each)->text(QAccessible::Name);
        if (name.isEmpty() || name == "..." || (name == group->property("title") && each->accessibleName().isEmpty()))
            faults += "no name: " + each->objectName();
    }
    // Waiting for the window would run the next line.
    QTest::keyClick(form().focusWidget() != nullptr ? form().focusWidget() : &form(), Qt::Key_Tab);
    for (int presses = reached.size(); presses > 0; --presses)
    {
        require(form().focusWidget() != nullptr, "nothing has the focus");
        ++reached[form().focusWidget()];
        QTest::keyClick(form().focusWidget(), Qt::Key_Tab);
    }
    for (auto each = reached.cbegin(); each != reached.cend(); ++each)
    {
        if (each.value() != 1)
            faults += QString::number(each.value()) + " times: " + each.key()->objectName();
    }
    return faults.join("; ");
}

void choose(QWidget& widget, int index)
{
    auto* view = qobject_cast<QAbstractItemView*>(&widget);
    if (view == nullptr)
        widget.setProperty("currentIndex", index);
    else
        index < 0 ? view->clearSelection() : view->setCurrentIndex(view->model()->index(index, 0));
}

void type(QLineEdit& edit, const QString& text)
{
    edit.selectAll();
    QTest::keyClick(&edit, Qt::Key_Delete);
    QTest::keyClick(&edit, Qt::Key_Home);
    QTest::keyClicks(&edit, text);
}

QLineEdit& openEditor(const QStringList& words)
{
    auto& view = named<QTableView>("resourceView");
    view.edit(view.model()->index(number(words[1]), number(words[2])));
    const auto editors = view.viewport()->findChildren<QLineEdit*>();
    require(!editors.isEmpty(), "the cell has no editor");
    // Editors that were closed just now may still be there.
    return *editors.last();
}

QLineEdit& editCell(const QStringList& words)
{
    QLineEdit& editor = openEditor(words);
    editor.setText(words.mid(3).join(' '));
    return editor;
}

QString textOfEditor(const QStringList& words)
{
    QLineEdit& editor = openEditor(words);
    const QString text = editor.text();
    QTest::keyClick(&editor, Qt::Key_Escape);
    return text;
}

void doubleClick(QAbstractItemView& list, int row)
{
    const QPoint place = list.visualRect(list.model()->index(row, 0)).center();
    QTest::mouseClick(list.viewport(), Qt::LeftButton, Qt::NoModifier, place);
    QTest::mouseDClick(list.viewport(), Qt::LeftButton, Qt::NoModifier, place);
}

/// Into the main window, whatever dialog is open.
void click(int y)
{
    const auto* table = mainWindow->findChild<QTableView*>();
    const QPoint place = table->viewport()->mapTo(mainWindow.get(), QPoint(1, y));
    QTest::mouseClick(mainWindow->windowHandle(), Qt::LeftButton, Qt::NoModifier, place);
}

QString contextMenu(QAbstractItemView& view, int y)
{
    emit view.customContextMenuRequested(QPoint(1, y < 0 ? view.viewport()->height() + y : y));
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    require(menu != nullptr, "there is no menu");
    QStringList entries;
    for (const QAction* action : menu->actions())
        entries += action->isSeparator() ? "|" : action->text() + ",";
    menu->close();
    return entries.join(' ');
}

bool isWaiting = false;

/// Processes events; the next line of the scenario waits as well.
void waitUntil(const std::function<bool()>& isReached, const char* failure)
{
    isWaiting = true;
    const bool reached = QTest::qWaitFor(isReached, waitAtMost);
    isWaiting = false;
    require(reached, failure);
}

/// The first key goes to the widget, which gets the focus, and each later one to what has the focus by then.
void pressKeys(const QStringList& words)
{
    form().activateWindow();
    waitUntil([] { return form().isActiveWindow(); }, "the window does not become active");
    named(words[1]).setFocus();
    for (const QString& key : words.mid(2))
        QTest::keyClick(form().focusWidget(), Qt::Key(QKeySequence(key)[0]));
}

void waitForSearch()
{
    const auto hasEnded = [] { return readFile(World::callLog()).find("viClose") != std::string::npos; };
    waitUntil(hasEnded, "no search has ended");
}

using Words = const QStringList&;

struct Command
{
    const char* arguments; ///< their names; those in brackets may be left out
    std::function<void(Words)> act;
    std::function<QString(Words)> answer = nullptr; ///< instead of `act`, where the line is a check
};

const std::map<QString, Command> commands = {
    {"conf", {"[LINES]", [](Words words) { writeConfiguration(bytesFrom(words)); }}},
    {"forget", {"", [](Words) { takeVisaCalls(); }}},
    {"visa", {"LINES", [](Words words) { scriptVisa(bytesFrom(words)); }}},
    {"store", {"LINES", [](Words words) { writeFile(World::settingsFile(), bytesFrom(words)); }}},
    {"start", {"", [](Words) { (mainWindow = std::make_unique<gui::MainWindow>())->show(); }}},
    {"searched", {"", [](Words) { waitForSearch(); }}},
    {"maximise", {"", [](Words) { form().showMaximized(); }}},
    {"stop", {"", [](Words) { form().close() ? mainWindow.reset() : void(); }}},
    {"move", {"X Y", [](Words words) { form().move(number(words[1]), number(words[2])); }}},
    {"remove", {"ROW", [](Words words) { named<QTableView>("resourceView").model()->removeRow(number(words[1])); }}},
    {"dismiss", {"", [](Words) { dynamic_cast<QDialog&>(form()).done(0); }}},
    {"do", {"ACTION", [](Words words) { named<QAction>(words[1]).trigger(); }}},
    {"press", {"BUTTON", [](Words words) { button(words[1]).click(); }}},
    {"set", {"EDIT [TEXT]", [](Words words) { named<QLineEdit>(words[1]).setText(words.mid(2).join(' ')); }}},
    {"type", {"EDIT [TEXT]", [](Words words) { type(named<QLineEdit>(words[1]), words.mid(2).join(' ')); }}},
    {"keys", {"WIDGET KEY...", pressKeys}},
    {"choose", {"WIDGET INDEX", [](Words words) { choose(named(words[1]), number(words[2])); }}},
    {"cell", {"ROW COLUMN [TEXT]", [](Words words) { QTest::keyClick(&editCell(words), Qt::Key_Return); }}},
    {"leaveOpen", {"ROW COLUMN [TEXT]", [](Words words) { editCell(words); }}},
    {"double", {"LIST ROW", [](Words words) { doubleClick(named<QAbstractItemView>(words[1]), number(words[2])); }}},
    {"click", {"Y", [](Words words) { click(number(words[1])); }}},
    {"settings", {"", nullptr, [](Words) { return inOneLine(readFile(World::settingsFile())); }}},
    {"calls", {"", nullptr, [](Words) { return inOneLine(takeVisaCalls()); }}},
    {"saved", {"", nullptr, [](Words) { return inOneLine(readFile(World::configurationFile())); }}},
    {"editor", {"ROW COLUMN", nullptr, textOfEditor}},
    {"menu",
     {"VIEW Y", nullptr,
      [](Words words) { return contextMenu(named<QAbstractItemView>(words[1]), number(words[2])); }}},
    {"show", {"[WIDGET...]", nullptr, shownByName}},
    {"keyboard", {"", nullptr, [](Words) { return keyboardFaults(); }}},
    {"visible", {"NAME...", nullptr, [](Words words) { return namesWith("visible", words); }}},
    {"enabled", {"NAME...", nullptr, [](Words words) { return namesWith("enabled", words); }}},
};

/// A test written as text; README.md in the folder of the scenarios explains it.
class Scenario : public QObject
{
public:
    explicit Scenario(const std::filesystem::path& file)
        : m_file(file), m_lines(QString::fromStdString(readFile(file)).split('\n'))
    {
    }

    /// Runs the lines up to the first one that fails, which fails the GoogleTest case.
    void run();

private:
    void step();
    void end();
    void runLine(int lineNumber);
    /// Returns why the line fails, or an empty text.
    [[nodiscard]] static QString failureOf(const QString& line);
    void fail(int lineNumber, const QString& reason);

    const std::filesystem::path m_file;
    const QStringList m_lines;
    int m_begun = 0;
    bool m_failed = false;
    bool m_ended = false;
    QDeadlineTimer m_deadline{waitAtMost};
};

void Scenario::run()
{
    step();
    while (!m_ended)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    mainWindow.reset();
}

void Scenario::step()
{
    if (m_failed || m_begun == m_lines.size())
    {
        end();
        return;
    }
    // A command that opens a dialog returns when the dialog is closed: those in between run in the dialog's own loop.
    QTimer::singleShot(1, this, &Scenario::step);
    const QWidget* dialog = QApplication::activeModalWidget();
    if (!isWaiting && (dialog == nullptr || dialog->cursor().shape() != Qt::WaitCursor))
        runLine(++m_begun);
    else if (m_deadline.hasExpired())
        fail(m_begun, "error: the dialog does not stop waiting");
}

void Scenario::end()
{
    m_ended = true;
    const QWidget* open = QApplication::activeModalWidget();
    if (open != nullptr && !m_failed)
        fail(m_begun, "error: this window is still open: " + open->windowTitle());
    while (QApplication::activeModalWidget() != nullptr && QApplication::activeModalWidget()->close())
        continue;
}

void Scenario::runLine(int lineNumber)
{
    m_deadline.setRemainingTime(waitAtMost);
    const QString& line = m_lines[lineNumber - 1];
    QString failure;
    try
    {
        failure = line.isEmpty() || line.startsWith('#') ? QString() : failureOf(line);
    }
    catch (const std::exception& error)
    {
        failure = QString("error: ") + error.what();
    }
    if (!failure.isEmpty() && !m_failed)
        fail(lineNumber, failure);
}

QString Scenario::failureOf(const QString& line)
{
    const QString sign = " -> ";
    const QStringList words = unescaped(line.section(sign, 0, 0)).split(' ');
    const auto known = commands.find(words[0]);
    require(known != commands.end(), "there is no command " + words[0]);
    const auto& [arguments, act, answer] = known->second;
    const QStringList names = QString(arguments).split(' ', Qt::SkipEmptyParts);
    require(words.size() > names.size() - names.filter("[").size() && line.contains(sign) == (answer != nullptr),
            "this is not " + words[0] + ' ' + arguments + (answer != nullptr ? " -> ANSWER" : ""));
    if (answer == nullptr)
    {
        act(words);
        return {};
    }
    const QString expected = line.section(sign, 1);
    const QString text = answer(words);
    const QString actual = text.isEmpty() ? "nothing" : text;
    return actual == expected ? QString() : "expected: " + expected + "\nactual:   " + actual;
}

void Scenario::fail(int lineNumber, const QString& reason)
{
    constexpr int linesBefore = 3;
    QString text;
    for (int each = std::max(lineNumber - linesBefore, 1); each <= lineNumber; ++each)
        text += QString("%1  %2\n").arg(each, 5).arg(m_lines[each - 1]);
    ADD_FAILURE_AT(m_file.c_str(), lineNumber) << text.toStdString() << reason.toStdString();
    m_failed = true;
}

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
