// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/MainWindow.h"

#include <QtTest>
#include <QtWidgets>

#include <functional>
#include <map>

namespace
{

constexpr int waitAtMost = 30000; // milliseconds
const char* const settingsFile = "../Kyvane&Yollet/KyVisaConfigure.conf";

std::unique_ptr<gui::MainWindow> mainWindow;
bool waitsForSearch = false;

using Words = const QStringList&;

void require(bool holds, const QString& message)
{
    if (!holds)
        throw std::runtime_error(message.toStdString());
}

int number(Words words, int index)
{
    bool isNumber = false;
    const int result = words.value(index).toInt(&isNumber);
    require(isNumber, words.value(index) + " is no number");
    return result;
}

QString rest(Words words, int from)
{
    return words.mid(from).join(' ');
}

QStringList unescaped(const QString& step)
{
    const QJsonArray array = QJsonDocument::fromJson(("[\"" + step + "\"]").toUtf8()).array();
    require(!array.isEmpty(), "a quote or a backslash needs a backslash before it");
    return array[0].toString().split(' ');
}

QString inOneLine(const std::filesystem::path& file)
{
    return QString::fromLatin1(readFile(file).c_str()).replace('\n', "; ").trimmed();
}

std::string bytes(Words words)
{
    return rest(words, 1).toLatin1().toStdString();
}

QWidget& form()
{
    QWidget* dialog = QApplication::activeModalWidget();
    require(dialog != nullptr || mainWindow != nullptr, "there is no window");
    return dialog != nullptr ? *dialog : *mainWindow;
}

/// By the name of the object, by the text of the button, or "focus".
template <typename Object = QWidget>
Object& named(const QString& name)
{
    const auto isMeant = [&](const QObject* each) {
        return name == "focus" ? each == form().focusWidget()
                               : each->objectName() == name || each->property("text").toString().remove('&') == name;
    };
    const auto all = form().findChildren<Object*>();
    const auto first = std::find_if(all.begin(), all.end(), isMeant);
    require(first != all.end() && !name.isEmpty(), form().windowTitle() + " has no " + name);
    return **first;
}

/// The rows that the view knows of, each with its columns or those of its only child.
QString shownRows(const QAbstractItemView& view)
{
    const auto* table = qobject_cast<const QTableView*>(&view);
    const QAbstractItemModel& model = *view.model();
    QStringList rows;
    for (int row = 0; row < (table != nullptr ? table->verticalHeader()->count() : model.rowCount()); ++row)
    {
        const QModelIndex first = model.index(row, 0);
        QString text = first.data().toString();
        if (table != nullptr)
            text += "=" + first.siblingAtColumn(1).data().toString();
        for (int column = 0; column < model.columnCount(first) && model.hasChildren(first); ++column)
        {
            const QMap<int, QVariant> cell = model.itemData(model.index(0, column, first));
            text += "," + cell.value(Qt::CheckStateRole, cell.value(Qt::DisplayRole)).toString();
        }
        rows += view.selectionModel()->isSelected(first) ? "(" + text + ")" : text;
    }
    const bool isCut = table != nullptr && view.sizeHintForColumn(0) > table->columnWidth(0);
    return rows.join(' ') + (isCut ? " cut" : "");
}

/// The name of the file with the same pixels.
QString fileOf(const QIcon& icon)
{
    for (const QString& file : QDir(":/icons").entryList())
    {
        if (QIcon(":/icons/" + file).pixmap(24).toImage() == icon.pixmap(24).toImage())
            return file;
    }
    return {};
}

/// Those of a menu or a tool bar.
QString shownActions(const QWidget& widget)
{
    QStringList entries;
    for (const QAction* action : widget.actions())
        entries += action->isSeparator()      ? "|"
                   : widget.inherits("QMenu") ? action->text()
                                              : action->toolTip() + ": " + fileOf(action->icon());
    return entries.join(", ");
}

QString shown(const QWidget& widget)
{
    if (widget.inherits("QToolBar"))
        return shownActions(widget);
    if (const auto* view = qobject_cast<const QAbstractItemView*>(&widget))
        return shownRows(*view);
    if (const auto* box = qobject_cast<const QComboBox*>(&widget))
        return QString("%1 of %2 from %3").arg(box->currentText()).arg(box->count()).arg(box->itemText(0)).trimmed();
    if (widget.isWindow())
        return QString::asprintf("%s %dx%d at %d,%d%s%s", qPrintable(widget.windowTitle()), widget.width(),
                                 widget.height(), widget.x(), widget.y(), widget.isMaximized() ? " maximised" : "",
                                 widget.windowFlags().testFlag(Qt::WindowContextHelpButtonHint) ? " with help" : "");
    return widget.property(widget.inherits("QTabWidget") ? "currentIndex" : "text").toString();
}

QString namesWith(const char* property, Words words)
{
    QStringList names;
    for (const QString& name : words.mid(1))
        names += named<QObject>(name).property(property).toBool() ? QStringList(name) : QStringList();
    return names.join(' ');
}

/// Goes round once by Tab. Returns the controls that have no name of their own, and those that Tab does not reach.
QString keyboardFaults()
{
    QStringList faults;
    QSet<QWidget*> missed;
    for (auto* each : form().findChildren<QWidget*>())
    {
        // The buttons without a name are parts of other controls.
        const bool isButton = each->inherits("QAbstractButton") && !each->objectName().isEmpty();
        if (!each->isVisible() || !each->isEnabled() || each->focusProxy() ||
            (each->focusPolicy() == Qt::NoFocus && !isButton))
            continue;
        missed += each;
        const QVariant group = each->parentWidget()->property("title");
        const QString name = QAccessible::queryAccessibleInterface(each)->text(QAccessible::Name);
        if (name.isEmpty() || name == "..." || (name == group && each->accessibleName().isEmpty()))
            faults += "no name: " + each->objectName();
    }
    // Where it reaches one of them twice, it does not reach another.
    for (int presses = missed.size(); presses > 0; --presses)
    {
        QTest::keyClick(form().focusWidget() != nullptr ? form().focusWidget() : &form(), Qt::Key_Tab);
        missed -= form().focusWidget();
    }
    for (const QWidget* each : missed)
        faults += "not reached: " + each->objectName();
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

void type(Words words)
{
    named<QLineEdit>(words.value(1)).clear();
    QTest::keyClicks(&named(words[1]), rest(words, 2));
}

void edit(Words words)
{
    auto& view = named<QTableView>("resourceView");
    view.edit(view.model()->index(number(words, 1), number(words, 2)));
}

/// Changes a cell below a row of the tree: its text, or its check state where it has one.
void changeBoard(Words words)
{
    QAbstractItemModel& model = *named<QAbstractItemView>("PropertyTree").model();
    const QModelIndex cell = model.index(0, number(words, 2), model.index(number(words, 1), 0));
    require(cell.flags().testFlag(Qt::ItemIsEditable), "the cell cannot be edited");
    model.setData(cell, rest(words, 3), cell.data(Qt::CheckStateRole).isValid() ? Qt::CheckStateRole : Qt::EditRole);
}

void doubleClick(const QAbstractItemView& list, int row)
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
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(1, y < 0 ? view.viewport()->height() + y : y));
    QCoreApplication::sendEvent(view.viewport(), &event);
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    require(menu != nullptr, "there is no menu");
    menu->close();
    return shownActions(*menu);
}

/// The first key goes to the widget, which gets the focus, and each later one to what has the focus by then.
void pressKeys(Words words)
{
    named(words.value(1)).setFocus();
    for (const QString& key : words.mid(2))
        QTest::keyClick(form().focusWidget(), Qt::Key(QKeySequence(key)[0]));
}

void start()
{
    std::filesystem::remove("log");
    mainWindow = std::make_unique<gui::MainWindow>();
    mainWindow->show();
}

QString takeCalls()
{
    const QString calls = inOneLine("log");
    std::filesystem::remove("log");
    return calls;
}

const std::map<QString, std::function<void(Words)>> commands = {
    {"conf", [](Words words) { writeConfiguration(bytes(words)); }},
    {"visa", [](Words words) { writeFile("script", bytes(words)); }},
    {"store", [](Words words) { writeFile(settingsFile, bytes(words)); }},
    {"start", [](Words) { start(); }},
    {"searched", [](Words) { waitsForSearch = true; }},
    {"maximise", [](Words) { form().showMaximized(); }},
    {"stop", [](Words) { form().close() ? mainWindow.reset() : void(); }},
    {"move", [](Words words) { form().move(number(words, 1), number(words, 2)); }},
    {"do", [](Words words) { named<QAction>(words.value(1)).trigger(); }},
    {"press", [](Words words) { named<QAbstractButton>(words.value(1)).click(); }},
    {"set", [](Words words) { named<QLineEdit>(words.value(1)).setText(rest(words, 2)); }},
    {"type", type},
    {"keys", pressKeys},
    {"choose", [](Words words) { choose(named(words.value(1)), number(words, 2)); }},
    {"edit", edit},
    {"remove", [](Words words) { named<QTableView>("resourceView").model()->removeRow(number(words, 1)); }},
    {"double", [](Words words) { doubleClick(named<QAbstractItemView>(words.value(1)), number(words, 2)); }},
    {"board", changeBoard},
    {"click", [](Words words) { click(number(words, 1)); }},
};

QString shownByName(Words words);

const std::map<QString, std::function<QString(Words)>> questions = {
    {"settings", [](Words) { return inOneLine(settingsFile); }},
    {"saved", [](Words) { return inOneLine(World::configurationFile()); }},
    {"title", [](Words) { return form().windowTitle(); }},
    {"calls", [](Words) { return takeCalls(); }},
    {"callsAfterFind", [](Words) { return takeCalls().section(QRegExp("viFindRsrc[^;]*; "), -1); }},
    {"menu", [](Words words) { return contextMenu(named<QAbstractItemView>(words.value(1)), number(words, 2)); }},
    {"visible", [](Words words) { return namesWith("visible", words); }},
    {"enabled", [](Words words) { return namesWith("enabled", words); }},
    {"keyboard", [](Words) { return keyboardFaults(); }},
    {"show", shownByName},
};

template <typename Map>
const typename Map::mapped_type& found(const Map& map, const char* kind, const QString& name)
{
    require(map.count(name) != 0, QString("there is no %1 %2").arg(kind, name));
    return map.at(name);
}

QString answer(Words words)
{
    const QString text = found(questions, "check", words[0])(words);
    return text.isEmpty() ? "nothing" : text;
}

QString shownByName(Words words)
{
    QStringList texts;
    for (const QString& name : words.mid(1))
        texts += questions.count(name) != 0 ? answer({name}) : shown(named(name));
    return texts.isEmpty() ? shown(form()) : texts.replaceInStrings(QRegExp("^$"), "nothing").join(" | ");
}

/// Whether the next step may come: the window that it goes to is active and does not wait.
bool isReady()
{
    waitsForSearch = waitsForSearch && readFile("log").find("viClose") == std::string::npos;
    if (waitsForSearch || (mainWindow == nullptr && QApplication::activeModalWidget() == nullptr))
        return !waitsForSearch;
    if (!form().isActiveWindow())
        form().activateWindow();
    return form().isActiveWindow() && form().cursor().shape() != Qt::WaitCursor;
}

/// A test written as text. README.md in the folder of the scenarios explains it.
class Scenario : public QObject
{
public:
    explicit Scenario(const QString& file) : m_file(file.toStdString())
    {
        for (int line = 0; line < m_lines.size(); ++line)
        {
            const QString& text = m_lines[line];
            const QRegularExpression separator(text.contains(" -> ") ? "; (?=.* -> )" : "; ");
            for (const QString& step : text.isEmpty() || text[0] == '#' ? QStringList() : text.split(separator))
                m_steps.emplace_back(line, step);
        }
    }

    /// Runs the steps up to the first one that fails, which fails the GoogleTest case.
    void run()
    {
        step();
        while (!m_ended)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        mainWindow.reset();
    }

private:
    void step()
    {
        if (m_next == m_steps.size())
            return end();
        // A step that opens a dialog returns when the dialog is closed: those in between run in the dialog's own loop.
        QTimer::singleShot(1, this, &Scenario::step);
        try
        {
            if (isReady())
                runNext();
            else
                require(!m_deadline.hasExpired(), "the step after this line has no window that is ready");
        }
        catch (const std::exception& failure)
        {
            fail(failure.what());
            m_next = m_steps.size();
        }
    }

    void runNext()
    {
        const QString text = m_steps[m_next++].second;
        m_deadline.setRemainingTime(waitAtMost);
        const QStringList words = unescaped(text.section(" -> ", 0, 0));
        const QString expected = text.section(" -> ", 1);
        if (expected.isEmpty())
            return found(commands, "command", words[0])(words);
        const QString actual = answer(words);
        require(actual == expected, "expected: " + expected + "\nactual:   " + actual);
    }

    void fail(const QString& reason)
    {
        constexpr int linesBefore = 3;
        const int last = m_steps[std::max<std::size_t>(m_next, 1) - 1].first;
        QString text;
        for (int each = std::max(last - linesBefore, 0); each <= last; ++each)
            text += QString("%1  %2\n").arg(each + 1, 5).arg(m_lines[each]);
        ADD_FAILURE_AT(m_file.c_str(), last + 1) << text.toStdString() << reason.toStdString();
    }

    void end()
    {
        m_ended = true;
        while (QWidget* open = QApplication::activeModalWidget())
        {
            fail("this window is still open: " + open->windowTitle());
            if (!open->close())
                break;
        }
    }

    const std::string m_file;
    const QStringList m_lines = QString::fromStdString(readFile(m_file)).split('\n');
    std::vector<std::pair<int, QString>> m_steps; ///< with the indexes of their lines
    std::size_t m_next = 0;
    bool m_ended = false;
    QDeadlineTimer m_deadline{waitAtMost};
};

} // namespace

TEST(Scenario, Runs)
{
    const QString file = QCoreApplication::arguments().last();
    ASSERT_NE(readFile(file.toStdString()), "") << file.toStdString();
    Scenario(file).run();
}
