// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Tests written as text, in the folder "scenarios". docs/tests.md explains their language.

#include "World.h"
#include "gui/MainWindow.h"

#include <QtTest>
#include <QtWidgets>

namespace
{

constexpr int waitAtMost = 30000; // milliseconds
const char* const settingsFile = "../Kyvane&Yollet/KyVisaConfigure.conf";
using Text = const QString&;

std::unique_ptr<gui::MainWindow> mainWindow;

void require(bool holds, Text message)
{
    if (!holds)
        throw std::runtime_error(message.toStdString());
}

std::string linesIn(QString text)
{
    return text.replace(" | ", "\n").toLatin1().toStdString();
}

QString linesOf(const std::filesystem::path& file)
{
    return QString::fromLatin1(readFile(file).c_str()).split('\n', Qt::SkipEmptyParts).join(" | ");
}

bool hasCopy()
{
    return std::filesystem::exists(perUserFile().native() + ".~1~");
}

/// The window that has the user's attention.
QWidget& form()
{
    QWidget* dialog = QApplication::activeModalWidget();
    require(dialog != nullptr || mainWindow != nullptr, "there is no window");
    return dialog != nullptr ? *dialog : *mainWindow;
}

/// By the name of the object or the text of the button. "focus" has the focus.
template <typename Widget = QWidget>
Widget& named(Text name)
{
    const auto isMeant = [&](const QWidget* each) {
        return name == "focus" ? each == form().focusWidget()
                               : each->objectName() == name || each->property("text").toString().remove('&') == name;
    };
    const auto all = form().findChildren<Widget*>();
    const auto first = std::find_if(all.begin(), all.end(), isMeant);
    require(first != all.end() && !name.isEmpty(), form().windowTitle() + " has no " + name);
    return **first;
}

QAbstractItemView& table()
{
    auto* view = form().findChild<QAbstractItemView*>();
    require(view != nullptr, form().windowTitle() + " has no rows");
    return *view;
}

/// The rows that the user sees.
QString rows()
{
    QAbstractItemView& view = table();
    const auto* columns = qobject_cast<const QTableView*>(&view);
    QStringList texts;
    for (int row = 0; row < view.model()->rowCount(); ++row)
    {
        const QModelIndex cell = view.model()->index(row, 0);
        const QString text = cell.data().toString() + (columns ? "=" + cell.siblingAtColumn(1).data().toString() : "");
        if (view.viewport()->rect().intersects(view.visualRect(cell)))
            texts += view.selectionModel()->isSelected(cell) ? "(" + text + ")" : text;
    }
    const auto isCut = [&](int column) { return view.sizeHintForColumn(column) > columns->columnWidth(column); };
    return texts.join(' ') + (columns != nullptr && (isCut(0) || isCut(1)) ? " cut" : "");
}

QString shown(const QWidget& widget)
{
    if (!widget.isVisible())
        return "hidden";
    if (!widget.isEnabled())
        return "disabled";
    const QString text = widget.property(widget.inherits("QComboBox") ? "currentText" : "text").toString();
    return text.isEmpty() ? "nothing" : text;
}

QString show(Text names)
{
    QStringList texts;
    for (const QString& name : names.split(", "))
        texts += shown(named(name));
    return texts.join(", ");
}

QString place()
{
    const QWidget& window = form();
    return QString::asprintf("%dx%d at %d,%d%s", window.width(), window.height(), window.x(), window.y(),
                             window.isMaximized() ? " maximised" : "");
}

void chooseRow(int row)
{
    row < 0 ? table().clearSelection() : table().setCurrentIndex(table().model()->index(row, 0));
    table().setFocus();
}

void choose(Text nameAndItem)
{
    QWidget& widget = named(nameAndItem.section(' ', 0, 0));
    widget.setProperty(widget.inherits("QComboBox") ? "currentText" : "currentIndex", nameAndItem.section(' ', 1));
}

void type(Text nameAndText)
{
    auto& edit = named<QLineEdit>(nameAndText.section(' ', 0, 0));
    edit.clear();
    QTest::keyClicks(&edit, nameAndText.section(' ', 1));
}

void pressKeys(Text names)
{
    for (const QString& name : names.split(' '))
    {
        const int key = QKeySequence(name)[0];
        require(key != Qt::Key_unknown, "there is no key " + name);
        const auto modifiers = key & int(Qt::KeyboardModifierMask);
        QTest::keyClick(form().focusWidget(), Qt::Key(key - modifiers), Qt::KeyboardModifiers(modifiers));
    }
}

void store(Text lines)
{
    QSettings().clear(); // Without it, a file of the same time and size would not be read again.
    writeFile(settingsFile, linesIn(lines));
}

void start()
{
    mainWindow = std::make_unique<gui::MainWindow>();
    mainWindow->show();
}

void stop()
{
    require(&form() == mainWindow.get(), "a dialog is open");
    if (mainWindow->close())
        mainWindow.reset();
}

// Each gets the text behind its name.
const std::map<QString, std::function<void(Text)>> commands = {
    {"conf", [](Text lines) { writeConfiguration(linesIn(lines)); }},
    {"visa", [](Text script) { writeFile("script", script.toStdString()); }},
    {"store", store},
    {"font", [](Text points) { QApplication::setFont(QFont("DejaVu Sans", points.toInt())); }},
    {"start", [](Text) { start(); }},
    {"stop", [](Text) { stop(); }},
    {"press", [](Text button) { named<QAbstractButton>(button).click(); }},
    {"row", [](Text row) { chooseRow(row.toInt()); }},
    {"choose", choose},
    {"type", type},
    {"keys", pressKeys},
};

const std::map<QString, std::function<QString(Text)>> questions = {
    {"rows", [](Text) { return rows(); }},
    {"show", show},
    {"place", [](Text) { return place(); }},
    {"saved", [](Text) { return linesOf(perUserFile()).section(" | ", 1) + (hasCopy() ? " and a copy" : ""); }},
    {"settings", [](Text) { return linesOf(settingsFile); }},
};

/// Whether the next step may come: the window that it goes to is active and does not wait.
bool isReady()
{
    if (mainWindow == nullptr && QApplication::activeModalWidget() == nullptr)
        return true;
    form().activateWindow();
    return form().isActiveWindow() && form().cursor().shape() == Qt::ArrowCursor;
}

class Scenario : public QObject
{
public:
    explicit Scenario(Text file) : m_file(file.toStdString()) {}

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
        while (m_steps.isEmpty() && m_line < m_lines.size())
            m_steps = QString(m_lines[m_line++]).remove(QRegExp("^#.*")).split("; ", Qt::SkipEmptyParts);
        if (m_steps.isEmpty())
            return QCoreApplication::quit(); // ends the loops of open dialogs, too
        // A step that opens a dialog returns when the dialog is closed: those in between run in the dialog's own loop.
        QTimer::singleShot(1, this, &Scenario::step);
        try
        {
            if (isReady())
                run(m_steps.takeFirst());
            else
                require(!m_deadline.hasExpired(), "no window is ready for " + m_steps.first());
        }
        catch (const std::exception& failure)
        {
            ADD_FAILURE_AT(m_file.c_str(), m_line) << m_lines[m_line - 1].toStdString() << "\n" << failure.what();
            m_steps.clear();
            m_line = m_lines.size();
        }
    }

    void run(Text text)
    {
        m_deadline.setRemainingTime(waitAtMost);
        const QString step = text.section(" -> ", 0, 0), expected = text.section(" -> ", 1);
        const QString name = step.section(' ', 0, 0), rest = step.section(' ', 1);
        require((expected.isEmpty() ? commands.count(name) : questions.count(name)) != 0, "there is no step " + name);
        if (expected.isEmpty())
            return commands.at(name)(rest);
        const QString answer = questions.at(name)(rest);
        const QString actual = answer.isEmpty() ? "nothing" : answer;
        require(actual == expected, "expected: " + expected + "\nactual:   " + actual);
    }

    const std::string m_file;
    const QStringList m_lines = QString::fromStdString(readFile(m_file)).split('\n');
    int m_line = 0;      ///< that of the steps, from 1
    QStringList m_steps; ///< of that line, which are still to come
    QDeadlineTimer m_deadline{waitAtMost};
};

} // namespace

TEST(Scenario, Runs)
{
    const QString file = QCoreApplication::arguments().last();
    ASSERT_NE(readFile(file.toStdString()), "") << "Name a scenario: --gtest_filter=Scenario.* /WHOLE/PATH.txt";
    Scenario(file).run();
}
