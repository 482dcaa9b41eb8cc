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

/// The main window: the table of aliases, its commands and the dialogs that they open.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Loads the configuration and starts a thread that searches for resources.
    explicit MainWindow(QWidget* parent = nullptr);
    /// Waits for that search to end.
    ~MainWindow() override;

public slots:
    /// Puts a found resource into the selected row.
    void findResource();
    /// Opens the properties dialog.
    void setProperties();
    /// Enables the actions that need a selected row, or disables them.
    void refreshButtonStatus();
    /// Adds a row with the texts from the composer.
    void rsrcStringEditor();
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected);
    /// Shows the context menu at a position in the table's viewport.
    void tablePopupMenu(QPoint pos);
    /// Edits the current row in the composer, if a row is selected.
    void rsrcStringEditorEdit();
    /// Enables Save while the model is dirty.
    void modelDirtyFlagChanged(bool bDirty);

protected:
    /// Makes Space select the current row. The table itself would replace the cell's text.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void setupUi();
    void setupConnections();
    /// Repaints a changed row at once and widens its columns if needed.
    void showChangedRow(int row);
    /// Names the edited file in the header's tool tip and the table's accessible description.
    void showFileName();
    /// Returns the selected row, or -1.
    [[nodiscard]] int selectedRow() const;
    void selectRowAfterRemoval(int first, int last);
    /// Stores the text of a cell that is still being edited.
    void commitOpenEditor();
    void restoreWindowSettings();
    void saveWindowSettings() const;

    // Destroyed in reverse order: the menu, the model, the form.
    const std::unique_ptr<Ui::MainWindow> ui;
    ConfigurationModel m_model;
    std::unique_ptr<QMenu> m_pPopupMenu;
    std::thread m_resourceThread;
    int m_selectedBeforeRemoval = -1;
};

} // namespace gui
