// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// The main window on a real display: from what a person does to the end of the paint that shows it.

#include "Entries.h"
#include "config/ConfigurationFile.h"
#include "gui/MainWindow.h"
#include "gui/ResourceDialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPaintEvent>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QToolBar>

#include <atomic>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr int timeLimit = 30'000; // milliseconds

/// Wall and processor time of the process, in seconds.
struct Times
{
    static Times now()
    {
        timespec cpuTime = {};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpuTime);
        const auto wallTime = std::chrono::steady_clock::now().time_since_epoch();
        return {std::chrono::duration<double>(wallTime).count(),
                static_cast<double>(cpuTime.tv_sec) + 1e-9 * static_cast<double>(cpuTime.tv_nsec)};
    }

    double wall;
    double cpu;
};

/// Records when the wanted content of a widget was painted.
class Application : public QApplication
{
public:
    using QApplication::QApplication;
    using Shown = std::function<bool(const QRegion& painted)>;

    void waitFor(QWidget* widget, Shown shown)
    {
        m_widget = widget;
        m_shown = std::move(shown);
        m_end.reset();
    }

    /// When it was painted, or nothing if that did not happen within the time limit.
    std::optional<Times> painted()
    {
        const bool inTime = QTest::qWaitFor([this] { return m_end.has_value(); }, timeLimit);
        m_widget = nullptr;
        return inTime ? m_end : std::nullopt;
    }

    [[nodiscard]] bool isPainted() const { return m_end.has_value(); }

    bool notify(QObject* receiver, QEvent* event) override
    {
        const bool result = QApplication::notify(receiver, event);
        if (receiver == m_widget && event->type() == QEvent::Paint && !m_end &&
            m_shown(static_cast<QPaintEvent*>(event)->region()))
            m_end = Times::now();
        return result;
    }

private:
    QObject* m_widget = nullptr;
    Shown m_shown;
    std::optional<Times> m_end;
};

Application& application()
{
    return *static_cast<Application*>(qApp);
}

/// The main window with a file of `count` entries, shown and idle.
class Window
{
public:
    explicit Window(std::int64_t count)
    {
        // The store keeps the name of the file that it found first.
        KyVisa::ConfigurationFile& store = KyVisa::ConfigurationFile::getInstance();
        store.m_fileName = entries::ownFile(count);
        store.load();
        m_window.emplace();
        m_window->show();
        if (!QTest::qWaitForWindowExposed(&*m_window))
            std::abort();
        view = m_window->findChild<QTableView*>();
        if (view->model()->rowCount() != count)
            std::abort();
        settle();
    }

    /// Waits until all pending work is done, including work that waits for a timer.
    static void settle() { QTest::qWait(50); }

    [[nodiscard]] QAction* action(const char* name) const { return m_window->findChild<QAction*>(name); }

    [[nodiscard]] QWidget* button(QAction* action) const
    {
        return m_window->findChild<QToolBar*>()->widgetForAction(action);
    }

    void click(const char* actionName) const { QTest::mouseClick(button(action(actionName)), Qt::LeftButton); }

    void clickRow(int row) const
    {
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(cell(row)).center());
    }

    [[nodiscard]] QModelIndex cell(int row) const { return view->model()->index(row, ConfigurationModel::AliasColumn); }

    [[nodiscard]] Application::Shown showsText(int row, const QString& text) const
    {
        return [=](const QRegion& painted) {
            return row < view->model()->rowCount() && cell(row).data().toString() == text &&
                   painted.intersects(view->visualRect(cell(row)));
        };
    }

    QTableView* view = nullptr;

private:
    std::optional<gui::MainWindow> m_window;
};

/// Measures from the time that `act` returns until `widget` was painted and `shown` holds.
void timeUntilPainted(benchmark::State& state, QWidget* widget, const Application::Shown& shown,
                      const std::function<Times()>& act)
{
    application().waitFor(widget, shown);
    const Times begin = act();
    const std::optional<Times> end = application().painted();
    if (!end)
    {
        state.SkipWithError("the change was not painted");
        return;
    }
    state.SetIterationTime(end->wall - begin.wall);
    benchmark::Counter& cpu = state.counters["cpu"];
    cpu.value += end->cpu - begin.cpu;
    cpu.flags = benchmark::Counter::kAvgIterations;
    Window::settle();
}

/// Presses OK in the dialog that `open` shows, with this alias in it, and returns when it was pressed.
Times confirmDialog(const QString& alias, const std::function<void()>& open)
{
    Times begin = {};
    QTimer::singleShot(0, [&] {
        QWidget* dialog = QApplication::activeModalWidget();
        dialog->findChild<QLineEdit*>(QStringLiteral("aliasEdit"))->setText(alias);
        Window::settle();
        begin = Times::now();
        dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    });
    open();
    // The dialog has stored its place now, which waits for the disk. The row must be shown before that.
    if (!application().isPainted())
        std::abort();
    return begin;
}

QString nextAlias()
{
    static int number = 0;
    return QStringLiteral("NEW%1").arg(number++);
}

void addByDialog(benchmark::State& state)
{
    const Window window(state.range(0));
    for ([[maybe_unused]] auto _ : state)
    {
        const QString alias = nextAlias();
        timeUntilPainted(state, window.view->viewport(), window.showsText(window.view->model()->rowCount(), alias),
                         [&] { return confirmDialog(alias, [&] { window.click("actionAdd_Resource"); }); });
    }
}

void editByDialog(benchmark::State& state)
{
    const Window window(state.range(0));
    window.clickRow(2);
    for ([[maybe_unused]] auto _ : state)
    {
        const QString alias = nextAlias();
        timeUntilPainted(state, window.view->viewport(), window.showsText(2, alias),
                         [&] { return confirmDialog(alias, [&] { window.click("actionEdit"); }); });
    }
}

void editCell(benchmark::State& state)
{
    const Window window(state.range(0));
    for ([[maybe_unused]] auto _ : state)
    {
        const QString alias = nextAlias();
        window.view->edit(window.cell(2));
        auto* editor = window.view->viewport()->findChild<QLineEdit*>();
        editor->setText(alias);
        Window::settle();
        timeUntilPainted(state, window.view->viewport(), window.showsText(2, alias), [&] {
            const Times begin = Times::now();
            QTest::keyClick(editor, Qt::Key_Return);
            return begin;
        });
    }
}

void removeRow(benchmark::State& state)
{
    const Window window(state.range(0));
    window.clickRow(2);
    for ([[maybe_unused]] auto _ : state)
    {
        const QString next = window.cell(3).data().toString();
        timeUntilPainted(state, window.view->viewport(), window.showsText(2, next), [&] {
            const Times begin = Times::now();
            window.click("actionRemove_resource");
            return begin;
        });
    }
}

void selectRow(benchmark::State& state)
{
    const Window window(state.range(0));
    int row = 2;
    for ([[maybe_unused]] auto _ : state)
    {
        row = 5 - row;
        const auto selected = [&](const QRegion& painted) {
            return window.view->selectionModel()->isRowSelected(row, {}) &&
                   painted.intersects(window.view->visualRect(window.cell(row)));
        };
        timeUntilPainted(state, window.view->viewport(), selected, [&] {
            const Times begin = Times::now();
            window.clickRow(row);
            return begin;
        });
    }
}

/// From the click to the tool bar button that is grey again.
void saveClicked(benchmark::State& state)
{
    const Window window(state.range(0));
    for ([[maybe_unused]] auto _ : state)
    {
        window.view->model()->setData(window.cell(2), nextAlias());
        Window::settle();
        QAction* save = window.action("actionSave");
        const auto isGrey = [&](const QRegion& /*painted*/) { return !save->isEnabled(); };
        timeUntilPainted(state, window.button(save), isGrey, [&] {
            const Times begin = Times::now();
            window.click("actionSave");
            return begin;
        });
    }
}

/// What the disk needs for as many bytes: a new file, synced and renamed, and its folder synced.
void syncedFile(benchmark::State& state)
{
    const std::string bytes(std::filesystem::file_size(entries::ownFile(state.range(0))), '#');
    for ([[maybe_unused]] auto _ : state)
    {
        Window::settle();
        const Times begin = Times::now();
        const int descriptor = ::open("synced.new", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (::write(descriptor, bytes.data(), bytes.size()) < 0 || ::fsync(descriptor) != 0 ||
            ::close(descriptor) != 0 || std::rename("synced.new", "synced") != 0 || !entries::syncFolder())
            state.SkipWithError("the file was not written");
        state.SetIterationTime(Times::now().wall - begin.wall);
    }
}

/// One page down and its frame. With `searching`, a search follows another in the background all the time.
void scroll(benchmark::State& state, bool searching)
{
    const Window window(state.range(0));
    std::atomic<bool> stop{false};
    std::thread searches;
    if (searching)
        searches = std::thread([&] {
            while (!stop)
                gui::ResourceDialog::updateResourceList();
        });
    QScrollBar& bar = *window.view->verticalScrollBar();
    for ([[maybe_unused]] auto _ : state)
    {
        const Times begin = Times::now();
        bar.setValue(bar.value() + bar.pageStep() > bar.maximum() ? 0 : bar.value() + bar.pageStep());
        window.view->viewport()->repaint();
        state.SetIterationTime(Times::now().wall - begin.wall);
    }
    stop = true;
    if (searches.joinable())
        searches.join();
}

void setUp(benchmark::internal::Benchmark* benchmark)
{
    benchmark->UseManualTime()->Unit(benchmark::kMillisecond);
}

void atRowCounts(benchmark::internal::Benchmark* benchmark)
{
    setUp(benchmark);
    benchmark->Iterations(3)->Arg(entries::mainCount() / 250)->Arg(entries::mainCount() * 2 / 5);
}

void atSavedCounts(benchmark::internal::Benchmark* benchmark)
{
    setUp(benchmark);
    benchmark->Iterations(3)->Arg(10)->Arg(1000);
}

void atFrames(benchmark::internal::Benchmark* benchmark)
{
    setUp(benchmark);
    benchmark->Iterations(60)->Arg(1000);
}

} // namespace

BENCHMARK(addByDialog)->Apply(atRowCounts);
BENCHMARK(editByDialog)->Apply(atRowCounts);
BENCHMARK(editCell)->Apply(atRowCounts);
BENCHMARK(removeRow)->Apply(atRowCounts);
BENCHMARK(selectRow)->Apply(atRowCounts);
BENCHMARK(saveClicked)->Apply(atSavedCounts);
BENCHMARK(syncedFile)->Apply(atSavedCounts);
BENCHMARK_CAPTURE(scroll, alone, false)->Apply(atFrames);
BENCHMARK_CAPTURE(scroll, searching, true)->Apply(atFrames);

int main(int argc, char** argv)
{
    QCoreApplication::setOrganizationName(QStringLiteral("Kyvane&Yollet"));
    QCoreApplication::setApplicationName(QStringLiteral("KyVisaConfigure"));
    QCoreApplication::setAttribute(Qt::AA_ForceRasterWidgets);
    benchmark::Initialize(&argc, argv);
    const Application application(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
