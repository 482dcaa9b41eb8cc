// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "gui/MainWindow.h"

#include <QtTest>
#include <QtWidgets>

namespace
{

constexpr int waitAtMost = 30000; // milliseconds
const char* const settingsFile = "../Kyvane&Yollet/KyVisaConfigure.conf";

std::unique_ptr<gui::MainWindow> mainWindow;

using Words = const QStringList&;

void require(bool holds, const QString& message)
{
    if (!holds)
        throw std::runtime_error(message.toStdString());
}

QString word(Words words, int index)
{
    require(index < words.size(), words[0] + " needs more words");
    return words[index];
}

std::string linesIn(Words words)
{
    return words.mid(1).join(' ').replace(" | ", "\n").toLatin1().toStdString();
}

QString linesOf(const std::filesystem::path& file)
{
    return QString::fromLatin1(readFile(file).c_str()).split('\n', Qt::SkipEmptyParts).join(" | ");
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

/// The rows that the user sees.
QString shownRows(const QAbstractItemView& view)
{
    const auto* table = qobject_cast<const QTableView*>(&view);
    QStringList rows;
    for (int row = 0; row < view.model()->rowCount(); ++row)
    {
        const QModelIndex first = view.model()->index(row, 0);
        if (!view.viewport()->rect().intersects(view.visualRect(first)))
            continue;
        QString text = first.data().toString();
        if (table != nullptr)
            text += "=" + first.siblingAtColumn(1).data().toString();
        rows += view.selectionModel()->isSelected(first) ? "(" + text + ")" : text;
    }
    const auto isCut = [&](int column) { return view.sizeHintForColumn(column) > table->columnWidth(column); };
    return rows.join(' ') + (table != nullptr && (isCut(0) || isCut(1)) ? " cut" : "");
}

QString shown(const QWidget& widget)
{
    if (!widget.isVisible())
        return "hidden";
    if (const auto* view = qobject_cast<const QAbstractItemView*>(&widget))
        return shownRows(*view);
    return widget.property(widget.inherits("QComboBox") ? "currentText" : "text").toString();
}

QString show(Words words)
{
    word(words, 1);
    QStringList texts;
    for (const QString& name : words.mid(1))
        texts += shown(named(name));
    return texts.replaceInStrings(QRegExp("^$"), "nothing").join(" | ");
}

QString place(const QWidget& window)
{
    return QString::asprintf("%dx%d at %d,%d%s", window.width(), window.height(), window.x(), window.y(),
                             window.isMaximized() ? " maximised" : "");
}

QString enabled(Words words)
{
    word(words, 1);
    QStringList names;
    for (const QString& name : words.mid(1))
        names += named<QObject>(name).property("enabled").toBool() ? QStringList(name) : QStringList();
    return names.join(' ');
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
    auto& edit = named<QLineEdit>(word(words, 1));
    edit.clear();
    QTest::keyClicks(&edit, words.mid(2).join(' '));
}

/// The first key goes to the widget, which gets the focus, and each later one to what has the focus by then.
void pressKeys(Words words)
{
    named(word(words, 1)).setFocus();
    for (const QString& name : words.mid(2))
    {
        const auto key = Qt::Key(QKeySequence(name)[0]);
        require(key != Qt::Key_unknown, "there is no key " + name);
        QTest::keyClick(form().focusWidget(), key);
    }
}

void store(Words words)
{
    QSettings().clear(); // It reads a file again when the size changes. The time can stay the same.
    writeFile(settingsFile, linesIn(words));
}

void start()
{
    require(mainWindow == nullptr, "the main window is open");
    mainWindow = std::make_unique<gui::MainWindow>();
    mainWindow->show();
}

void stop()
{
    require(&form() == mainWindow.get(), "a dialog is open");
    if (mainWindow->close())
        mainWindow.reset();
}

const std::map<QString, std::function<void(Words)>> commands = {
    {"conf", [](Words words) { writeConfiguration(linesIn(words)); }},
    {"visa", [](Words words) { writeFile("script", linesIn(words)); }},
    {"store", store},
    {"font", [](Words words) { QApplication::setFont(QFont("DejaVu Sans", word(words, 1).toInt())); }},
    {"start", [](Words) { start(); }},
    {"stop", [](Words) { stop(); }},
    {"do", [](Words words) { named<QAction>(word(words, 1)).trigger(); }},
    {"press", [](Words words) { named<QAbstractButton>(word(words, 1)).click(); }},
    {"type", type},
    {"keys", pressKeys},
    {"choose", [](Words words) { choose(named(word(words, 1)), word(words, 2).toInt()); }},
};

const std::map<QString, std::function<QString(Words)>> questions = {
    {"settings", [](Words) { return linesOf(settingsFile); }},
    {"saved", [](Words) { return linesOf(perUserFile()); }},
    {"place", [](Words) { return place(form()); }},
    {"enabled", enabled},
    {"show", show},
};

template <typename Map>
const typename Map::mapped_type& found(const Map& map, const char* kind, const QString& name)
{
    require(map.count(name) != 0, QString("there is no %1 %2").arg(kind, name));
    return map.at(name);
}

/// Whether the next step may come: the window that it goes to is active and does not wait.
bool isReady()
{
    if (mainWindow == nullptr && QApplication::activeModalWidget() == nullptr)
        return true;
    form().activateWindow();
    return form().isActiveWindow() && form().cursor().shape() == Qt::ArrowCursor;
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
            for (const QString& step : text.isEmpty() || text[0] == '#' ? QStringList() : text.split("; "))
                m_steps.emplace_back(line, step);
        }
    }

    /// Runs the steps up to the first one that fails, which fails the GoogleTest case.
    void run()
    {
        QApplication::setQuitOnLastWindowClosed(false);
        QTimer::singleShot(0, this, &Scenario::step);
        QApplication::exec();
        mainWindow.reset();
    }

private:
    void step()
    {
        if (m_next == m_steps.size())
            return QCoreApplication::quit(); // ends the loops of open dialogs, too
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
        }
    }

    void runNext()
    {
        const QString text = m_steps[m_next++].second;
        m_deadline.setRemainingTime(waitAtMost);
        const QStringList words = text.section(" -> ", 0, 0).split(' ');
        const QString expected = text.section(" -> ", 1);
        if (expected.isEmpty())
            return found(commands, "command", words[0])(words);
        const QString answer = found(questions, "check", words[0])(words);
        const QString actual = answer.isEmpty() ? "nothing" : answer;
        require(actual == expected, "expected: " + expected + "\nactual:   " + actual);
    }

    void fail(const QString& reason)
    {
        const int last = m_steps[std::max<std::size_t>(m_next, 1) - 1].first;
        const QString lines = m_lines.mid(0, last + 1).mid(std::max(last - 3, 0)).join('\n');
        ADD_FAILURE_AT(m_file.c_str(), last + 1) << lines.toStdString() << "\n" << reason.toStdString();
        m_next = m_steps.size();
    }

    const std::string m_file;
    const QStringList m_lines = QString::fromStdString(readFile(m_file)).split('\n');
    std::vector<std::pair<int, QString>> m_steps; ///< with the indexes of their lines
    std::size_t m_next = 0;
    QDeadlineTimer m_deadline{waitAtMost};
};

} // namespace

TEST(Scenario, Runs)
{
    const QString file = QCoreApplication::arguments().last();
    ASSERT_NE(readFile(file.toStdString()), "") << file.toStdString();
    Scenario(file).run();
}
