// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// Times the main window on a real display, from a click or key to the end of the paint that shows the effect, and the
// search.

#include "config/ConfigurationFile.h"
#include "gui/MainWindow.h"
#include "gui/ResourceDialog.h"

#include <QtTest>
#include <QtWidgets>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <optional>

#include <benchmark/benchmark.h>

#include <libudev.h>

namespace
{

/// Times until a widget was painted in the wanted state.
struct Application : QApplication
{
    using QApplication::QApplication;

    static void startClock(QWidget* paintedWidget, std::function<bool()> condition)
    {
        widget = paintedWidget;
        isShown = std::move(condition);
        state->ResumeTiming();
    }

    bool notify(QObject* receiver, QEvent* event) override
    {
        const bool result = QApplication::notify(receiver, event);
        if (receiver == widget && event->type() == QEvent::Paint && isShown())
        {
            state->PauseTiming();
            widget = nullptr;
        }
        return result;
    }

    inline static benchmark::State* state = nullptr;
    inline static QWidget* widget = nullptr; ///< null after the paint
    inline static std::function<bool()> isShown;
};

constexpr int settleTime = 50; // milliseconds, after which a window has no work left

QString newAlias()
{
    static int number = 0;
    return QStringLiteral("NEW%1").arg(number++);
}

/// The main window, shown and idle, with a file of as many entries as the benchmark wants.
struct Window
{
    explicit Window(benchmark::State& state)
    {
        // The store keeps the name of the file that it found first.
        KyVisa::ConfigurationFile& store = KyVisa::ConfigurationFile::getInstance();
        store.m_fileName = std::to_string(state.range(0)) + ".conf";
        store.load();
        mainWindow.emplace();
        mainWindow->show();
        view = mainWindow->findChild<QTableView*>();
        Application::state = &state;
        if (!QTest::qWaitForWindowExposed(&*mainWindow) || view->model()->rowCount() != state.range(0))
            state.SkipWithError("the window does not show the file");
        QTest::qWait(settleTime);
    }

    QModelIndex alias(int row) const { return view->model()->index(row, ConfigurationModel::AliasColumn); }

    QWidget* button(const char* action) const
    {
        return mainWindow->findChild<QToolBar*>()->widgetForAction(mainWindow->findChild<QAction*>(action));
    }

    void click(const char* action) const { QTest::mouseClick(button(action), Qt::LeftButton); }

    void clickRow(int row) const
    {
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(alias(row)).center());
    }

    /// Starts the clock. It stops after the paint that shows this alias in the row.
    void startClock(int row, const QString& text) const
    {
        Application::startClock(view->viewport(), [=] {
            return alias(row).data() == text && view->viewport()->rect().intersects(view->visualRect(alias(row)));
        });
    }

    /// Opens the composer, types an alias, and starts the clock when OK is pressed.
    void compose(const char* action, int changedRow) const
    {
        QTimer::singleShot(0, [=] {
            const QString text = newAlias();
            QWidget* dialog = QApplication::activeModalWidget();
            dialog->findChild<QLineEdit*>(QStringLiteral("aliasEdit"))->setText(text);
            QTest::qWait(settleTime);
            startClock(changedRow, text);
            dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
        });
        click(action);
    }

    std::optional<gui::MainWindow> mainWindow;
    QTableView* view = nullptr;
};

void add(const Window& window)
{
    window.compose("actionAdd_Resource", window.view->model()->rowCount());
}

void edit(const Window& window)
{
    window.compose("actionEdit", 2);
}

void editCell(const Window& window)
{
    const QString text = newAlias();
    window.view->edit(window.alias(2));
    auto* editor = window.view->viewport()->findChild<QLineEdit*>();
    editor->setText(text);
    QTest::qWait(settleTime);
    window.startClock(2, text);
    QTest::keyClick(editor, Qt::Key_Return);
}

void remove(const Window& window)
{
    window.startClock(2, window.alias(3).data().toString());
    window.click("actionRemove_resource");
}

void select(const Window& window)
{
    const QItemSelectionModel* selection = window.view->selectionModel();
    const int row = selection->currentIndex().row() == 2 ? 3 : 2;
    Application::startClock(window.view->viewport(), [=] { return selection->isRowSelected(row, {}); });
    window.clickRow(row);
}

void save(const Window& window)
{
    window.view->model()->setData(window.alias(2), newAlias());
    QTest::qWait(settleTime);
    QWidget* button = window.button("actionSave");
    Application::startClock(button, [=] { return !button->isEnabled(); });
    window.click("actionSave");
}

void untilPainted(benchmark::State& state, void (*act)(const Window&))
{
    const Window window(state);
    window.clickRow(2);
    for ([[maybe_unused]] auto _ : state)
    {
        state.PauseTiming();
        act(window);
        if (!QTest::qWaitFor([] { return Application::widget == nullptr; }, 30'000))
            return state.SkipWithError("the change was not painted");
        QTest::qWait(settleTime);
        state.ResumeTiming();
    }
}

/// Pages through the table while one search follows another. A frame is lost if a page took longer to paint.
void framesWhileSearching(benchmark::State& state)
{
    const Window window(state);
    std::atomic<bool> stop{false};
    const auto searches = std::async(std::launch::async, [&] {
        while (!stop)
            gui::ResourceDialog::updateResourceList();
    });
    QScrollBar& bar = *window.view->verticalScrollBar();
    for ([[maybe_unused]] auto _ : state)
    {
        const auto begin = std::chrono::steady_clock::now();
        bar.setValue(bar.value() == bar.maximum() ? 0 : bar.value() + bar.pageStep());
        window.view->viewport()->repaint();
        state.counters["lost"] += std::chrono::steady_clock::now() - begin > std::chrono::microseconds(16'667) ? 1 : 0;
    }
    stop = true;
}

void find(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state)
        gui::ResourceDialog::updateResourceList();
}

/// The peer of find(): enumerates the same kinds of devices once and opens each.
void enumerateDevices(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state)
    {
        udev* context = udev_new();
        udev_enumerate* enumeration = udev_enumerate_new(context);
        udev_enumerate_add_match_subsystem(enumeration, "tty");
        udev_enumerate_add_match_subsystem(enumeration, "usb");
        udev_enumerate_scan_devices(enumeration);
        udev_list_entry* entry = nullptr;
        udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration))
            udev_device_unref(udev_device_new_from_syspath(context, udev_list_entry_get_name(entry)));
        udev_enumerate_unref(enumeration);
        udev_unref(context);
    }
}

void atCounts(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10)->Arg(1'000)->Arg(10'000)->Iterations(3)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK_CAPTURE(untilPainted, add, add)->Apply(atCounts);
BENCHMARK_CAPTURE(untilPainted, edit, edit)->Apply(atCounts);
BENCHMARK_CAPTURE(untilPainted, editCell, editCell)->Apply(atCounts);
BENCHMARK_CAPTURE(untilPainted, remove, remove)->Apply(atCounts);
BENCHMARK_CAPTURE(untilPainted, select, select)->Apply(atCounts);
BENCHMARK_CAPTURE(untilPainted, save, save)->Apply(atCounts);
BENCHMARK(framesWhileSearching)->Arg(10'000)->Iterations(100);
BENCHMARK(find)->MeasureProcessCPUTime();
BENCHMARK(enumerateDevices)->MeasureProcessCPUTime();

int main(int argc, char** argv)
{
    // As the program does it.
    QCoreApplication::setAttribute(Qt::AA_ForceRasterWidgets);
    benchmark::Initialize(&argc, argv);
    const Application application(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
