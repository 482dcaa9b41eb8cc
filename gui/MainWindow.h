// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ConfigurationModel.h"

#include <QMainWindow>

#include <memory>
#include <thread>

class QItemSelection;
class QMenu;

namespace Ui
{
class MainWindow;
}

namespace gui
{

/// The window of the program: the table of aliases, the commands on it, and the dialogs behind them.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Loads the configuration and starts the search for resources in a thread of its own.
    explicit MainWindow(QWidget* parent = nullptr);
    /// Waits for that search to end.
    ~MainWindow() override;

public slots:
    void findResource();
    void setProperties();
    void refreshButtonStatus();
    void rsrcStringEditor();
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected);
    void tablePopupMenu(QPoint pos);
    void rsrcStringEditorEdit();
    void modelDirtyFlagChanged(bool bDirty);

protected:
    /// Lets the Space key select the current row. The table itself would replace the cell by a blank.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void setupUi();
    void setupConnections();
    /// Shows the new texts of a row at once, its resource identifier in full.
    void showChangedRow(int row);
    void showFileName();
    /// The selected row, or -1.
    [[nodiscard]] int selectedRow() const;
    void selectRowAfterRemoval(int first, int last);
    /// Takes over what is typed into a cell that is still being edited.
    void commitOpenEditor();
    void restoreWindowSettings();
    void saveWindowSettings() const;

    // Destroyed from the last to the first: the menu before the model, the form after it.
    const std::unique_ptr<Ui::MainWindow> ui;
    ConfigurationModel m_model;
    std::unique_ptr<QMenu> m_pPopupMenu;
    std::thread m_resourceThread;
    int m_selectedBeforeRemoval = -1;
};

} // namespace gui
