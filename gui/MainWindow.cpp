// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "CellDelegate.h"
#include "ColumnWidths.h"
#include "PaleIcon.h"
#include "PropertyDialog.h"
#include "ResourceDialog.h"
#include "RsrcStringEditor.h"
#include "WindowSettings.h"

#include <QCloseEvent>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QToolButton>

#include <algorithm>

namespace gui
{

namespace
{

const QLatin1String settingsGroup("MainWindow");

/// Returns whether the key is Space. Many keyboards can also type a no-break space with it.
bool isSpace(const QKeyEvent& event)
{
    return event.key() == Qt::Key_Space || event.key() == Qt::Key_nobreakspace;
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), ui(std::make_unique<Ui::MainWindow>()), m_model(this),
      m_resourceThread([] { ResourceDialog::updateResourceList(); })
{
    ui->setupUi(this);
    setupUi();
    setupConnections();
    restoreWindowSettings();
}

MainWindow::~MainWindow()
{
    m_resourceThread.join();
    saveWindowSettings();
}

void MainWindow::setupUi()
{
    setWindowTitle(QCoreApplication::translate("MainWindow", "KyVisaConfigure - ") + QLatin1String(KYVISA_VERSION));
    // Connect before setModel(): this must run before the view changes the selection.
    connect(&m_model, &ConfigurationModel::rowsAboutToBeRemoved, this,
            [this] { m_selectedBeforeRemoval = selectedRow(); });
    ui->resourceView->setModel(&m_model);
    ui->resourceView->installEventFilter(this);
    ui->resourceView->setItemDelegate(new CellDelegate(this));
    ui->resourceView->horizontalHeader()->setStretchLastSection(true);
    resizeColumnsToContents(*ui->resourceView);
    m_model.m_pSelectionModel = ui->resourceView->selectionModel();
    // Tab reaches the buttons. A click on one does not move the focus.
    for (QToolButton* button : ui->toolBar->findChildren<QToolButton*>())
        button->setFocusPolicy(Qt::TabFocus);
    refreshButtonStatus();
    ui->actionSave->setEnabled(m_model.isDirty());
    for (QAction* action : {ui->actionEdit, ui->actionFind, ui->actionSave})
        action->setIcon(withPaleDisabled(action->icon()));
    showFileName();
}

void MainWindow::setupConnections()
{
    // Connect this first, so that it runs first.
    for (const QAction* action : ui->toolBar->actions())
        connect(action, &QAction::triggered, this, &MainWindow::commitOpenEditor);
    connect(ui->actionClose, &QAction::triggered, this, &MainWindow::close);
    connect(ui->actionAdd_Resource, &QAction::triggered, this, &MainWindow::rsrcStringEditor);
    connect(ui->actionRemove_resource, &QAction::triggered, &m_model, &ConfigurationModel::removeSelectedEntry);
    connect(ui->actionEdit, &QAction::triggered, this, &MainWindow::rsrcStringEditorEdit);
    // The save disables the button, and Qt would move the focus to Close.
    connect(ui->actionSave, &QAction::triggered, ui->resourceView, qOverload<>(&QWidget::setFocus));
    connect(ui->actionSave, &QAction::triggered, &m_model, &ConfigurationModel::save);
    connect(ui->actionFind, &QAction::triggered, this, &MainWindow::findResource);
    connect(ui->actionEdit_properties, &QAction::triggered, this, &MainWindow::setProperties);
    connect(ui->resourceView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MainWindow::selectionChanged);
    connect(&m_model, &ConfigurationModel::rowsRemoved, this,
            [this](const QModelIndex& /*parent*/, int first, int last) { selectRowAfterRemoval(first, last); });
    // Connect after the view, because the view stores the text first.
    connect(ui->resourceView->itemDelegate(), &QAbstractItemDelegate::commitData, this,
            [view = ui->resourceView] { widenColumn(*view, view->currentIndex()); });
    ui->resourceView->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(ui->resourceView, &QTableView::customContextMenuRequested, this, &MainWindow::tablePopupMenu);
    connect(&m_model, &ConfigurationModel::dirtyHasChanged, this, &MainWindow::modelDirtyFlagChanged);
}

void MainWindow::findResource()
{
    ResourceDialog dialog(this);
    if (dialog.exec() == QDialog::Accepted)
    {
        m_model.setResource(dialog.getResource());
        showChangedRow(selectedRow());
    }
}

void MainWindow::setProperties()
{
    PropertyDialog dialog(m_model, this);
    dialog.exec();
}

void MainWindow::refreshButtonStatus()
{
    const bool hasSelection = ui->resourceView->selectionModel()->hasSelection();
    ui->actionFind->setEnabled(hasSelection);
    ui->actionEdit->setEnabled(hasSelection);
}

void MainWindow::rsrcStringEditor()
{
    RsrcStringEditor dialog(this);
    if (dialog.exec() == QDialog::Accepted)
    {
        m_model.add(dialog.getRsrcString(), dialog.getAlias());
        ui->resourceView->selectRow(m_model.rowCount() - 1);
        ui->resourceView->scrollToBottom();
        showChangedRow(m_model.rowCount() - 1);
    }
}

void MainWindow::selectionChanged(const QItemSelection& /*selected*/, const QItemSelection& /*deselected*/)
{
    refreshButtonStatus();
}

void MainWindow::tablePopupMenu(QPoint pos)
{
    m_pPopupMenu = std::make_unique<QMenu>(this);
    m_pPopupMenu->addAction(ui->actionAdd_Resource);
    if (ui->resourceView->indexAt(pos).row() >= 0)
    {
        m_pPopupMenu->addAction(ui->actionRemove_resource);
        m_pPopupMenu->addAction(ui->actionEdit);
        m_pPopupMenu->addSeparator();
        m_pPopupMenu->addAction(ui->actionFind);
    }
    m_pPopupMenu->popup(ui->resourceView->viewport()->mapToGlobal(pos));
}

void MainWindow::rsrcStringEditorEdit()
{
    const QItemSelectionModel* selection = ui->resourceView->selectionModel();
    if (!selection->hasSelection())
        return;
    const int row = selection->currentIndex().row();
    const QModelIndex resource = m_model.index(row, ConfigurationModel::ResourceColumn);
    const QModelIndex alias = m_model.index(row, ConfigurationModel::AliasColumn);

    RsrcStringEditor dialog(this);
    dialog.setRsrcString(resource.data().toString());
    dialog.setAlias(alias.data().toString());
    if (dialog.exec() == QDialog::Accepted)
    {
        m_model.setData(resource, dialog.getRsrcString(), Qt::EditRole);
        m_model.setData(alias, dialog.getAlias(), Qt::EditRole);
        showChangedRow(row);
    }
}

void MainWindow::showChangedRow(int row)
{
    // The model does not announce changed cells.
    ui->resourceView->viewport()->update();
    widenColumn(*ui->resourceView, m_model.index(row, ConfigurationModel::ResourceColumn));
    widenColumn(*ui->resourceView, m_model.index(row, ConfigurationModel::AliasColumn));
    // Repaint before the dialog's destructor, which writes settings to the disk.
    QCoreApplication::sendPostedEvents(this, QEvent::UpdateRequest);
}

int MainWindow::selectedRow() const
{
    const QItemSelectionModel* selection = ui->resourceView->selectionModel();
    return selection != nullptr && selection->hasSelection() ? selection->selectedIndexes().first().row() : -1;
}

void MainWindow::selectRowAfterRemoval(int first, int last)
{
    // The view selects the row after the current one, even if nothing was selected.
    if (m_selectedBeforeRemoval < 0)
    {
        ui->resourceView->clearSelection();
        return;
    }
    // The model announces one row too many, so the view's own selection is wrong.
    int row = m_selectedBeforeRemoval;
    if (row >= last)
        row -= last - first;
    else if (row > first)
        row = first;
    ui->resourceView->selectRow(std::min(row, m_model.rowCount() - 1));
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == ui->resourceView && event->type() == QEvent::KeyPress &&
        isSpace(dynamic_cast<const QKeyEvent&>(*event)))
    {
        ui->resourceView->selectionModel()->select(ui->resourceView->currentIndex(),
                                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::commitOpenEditor()
{
    QAbstractItemDelegate* delegate = ui->resourceView->itemDelegate();
    for (QLineEdit* editor : ui->resourceView->viewport()->findChildren<QLineEdit*>())
    {
        emit delegate->commitData(editor);
        emit delegate->closeEditor(editor);
    }
}

void MainWindow::showFileName()
{
    const QString file = QFileInfo(m_model.fileName()).absoluteFilePath();
    QString text = QCoreApplication::translate("MainWindow", "Edited file: %1").arg(file);
    if (m_model.fileName().isEmpty())
        text = QCoreApplication::translate("MainWindow", "There is no place for visa.conf: HOME is not set");
    else if (!QFile::exists(file))
        text = QCoreApplication::translate("MainWindow", "The first save makes %1").arg(file);
    ui->resourceView->setAccessibleDescription(text);
    // A tool tip of the header does not cover the rows. Escape the text, because a path can look like rich text.
    ui->resourceView->horizontalHeader()->setToolTip(QLatin1String("<p style='white-space:pre'>") %
                                                     text.toHtmlEscaped());
}

void MainWindow::modelDirtyFlagChanged(bool bDirty)
{
    ui->actionSave->setEnabled(bDirty);
    // The first save creates the file, so the tool tip changes.
    if (!bDirty)
        showFileName();
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    QMainWindow::closeEvent(event);
    commitOpenEditor();
    if (!m_model.isDirty())
        return;
    const QMessageBox::StandardButton answer =
        QMessageBox::question(this, QCoreApplication::translate("MainWindow", "Unsaved data"),
                              QCoreApplication::translate("MainWindow", "Do you want to save before exiting?"),
                              QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
    if (answer == QMessageBox::Yes)
        m_model.save();
    // Cancel, or closed without an answer.
    else if (answer != QMessageBox::No)
        event->ignore();
}

void MainWindow::restoreWindowSettings()
{
    gui::restoreWindowSettings(*this, settingsGroup, MaximizedState::Remembered);
}

void MainWindow::saveWindowSettings() const
{
    gui::saveWindowSettings(*this, settingsGroup, MaximizedState::Remembered);
}

} // namespace gui
