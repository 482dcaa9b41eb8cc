// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ResourceDialog.h"

#include "ui_ResourceDialog.h"

#include "FoundName.h"
#include "WindowSettings.h"
#include "visa/VisaHandle.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPushButton>
#include <QScopeGuard>

#include <algorithm>

namespace gui
{

namespace
{

const QLatin1String settingsGroup("ResourceDialog");

/// Returns the resources that the library finds on this machine and its network.
QStringList findResources(ViSession session)
{
    viSetAttribute(session, KYVISA_ATTR_NETWORK_SEARCHES, 7);
    viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 1000);

    QStringList resources;
    ViFindList findList = VI_NULL;
    ViUInt32 count = 0;
    FoundName name;
    // Here a warning, or a count of 0, also means that nothing was found. The session closes a list that is open.
    if (viFindRsrc(session, "?*", &findList, &count, name.buffer()) != VI_SUCCESS || count == 0)
        return resources;

    const VisaHandle list(findList);
    count = std::min(count, mostFoundResources);
    resources.reserve(static_cast<int>(count));
    resources.append(name.text());
    for (ViUInt32 asked = 1; asked < count; ++asked)
    {
        if (viFindNext(list.get(), name.buffer()) == VI_SUCCESS)
            resources.append(name.text());
    }
    return resources;
}

} // namespace

QStringList ResourceDialog::s_resources;
std::uint64_t ResourceDialog::s_searchCount = 0;
std::mutex ResourceDialog::s_resourceListMutex;
std::atomic<bool> ResourceDialog::s_resourceListUpdateInProcess{false};

ResourceDialog::ResourceDialog(QWidget* parent) : QDialog(parent), ui(std::make_unique<Ui::ResourceDialog>())
{
    ui->setupUi(this);
    setupUi();
    setupConnections();
}

ResourceDialog::~ResourceDialog() = default;

void ResourceDialog::setupUi()
{
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    // During a search the list stays empty. showEvent() waits and fills it.
    const std::unique_lock lock(s_resourceListMutex, std::try_to_lock);
    if (lock.owns_lock())
        fillList();
    ui->rsrcList->installEventFilter(this);
    ui->buttonBox->button(QDialogButtonBox::Ok)->setText(QCoreApplication::translate("ResourceDialog", "Select"));
}

void ResourceDialog::setupConnections()
{
    connect(ui->refreshButton, &QToolButton::clicked, this, qOverload<>(&ResourceDialog::refreshList));
    connect(ui->rsrcList, &QListWidget::itemDoubleClicked, this, &ResourceDialog::itemDoubleClicked);
    // Select the item: Enter activates the current one, selected or not, and then presses "Select".
    connect(ui->rsrcList, &QListWidget::itemActivated, this,
            [this](QListWidgetItem* item) { ui->rsrcList->setCurrentItem(item); });
}

void ResourceDialog::updateResourceList()
{
    const std::lock_guard lock(s_resourceListMutex);
    s_resourceListUpdateInProcess = true;
    const auto clearFlag = qScopeGuard([] { s_resourceListUpdateInProcess = false; });
    s_resources.clear();
    const VisaHandle session = VisaHandle::defaultResourceManager();
    s_resources = findResources(session.get());
    s_resources.sort(Qt::CaseSensitive);
    ++s_searchCount;
}

void ResourceDialog::refreshList()
{
    refreshList(true);
}

void ResourceDialog::refreshList(bool update)
{
    QWidget* const focused = focusWidget();
    ui->buttonBox->setEnabled(false);
    ui->refreshButton->setEnabled(false);
    setCursor(Qt::WaitCursor);
    // Before the dialog is visible, its own cursor has no effect.
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);

    ui->rsrcList->clear();
    if (update)
    {
        updateResourceList();
        // Deliver clicks made during the search while the buttons are still disabled.
        QCoreApplication::processEvents();
    }
    {
        const std::lock_guard lock(s_resourceListMutex);
        fillList();
    }

    QGuiApplication::restoreOverrideCursor();
    setCursor(Qt::ArrowCursor);
    ui->buttonBox->setEnabled(true);
    ui->refreshButton->setEnabled(true);
    if (focused != nullptr)
        focused->setFocus();
}

bool ResourceDialog::listIsCurrent() const
{
    const std::unique_lock lock(s_resourceListMutex, std::try_to_lock);
    return lock.owns_lock() && m_shownSearch == s_searchCount;
}

void ResourceDialog::fillList()
{
    ui->rsrcList->addItems(s_resources);
    // In a new dialog, the first item gets the focus. Make it current here too, so that Enter and Down work the same.
    ui->rsrcList->setCurrentRow(0, QItemSelectionModel::NoUpdate);
    m_shownSearch = s_searchCount;
}

QString ResourceDialog::getResource() const
{
    const QList<QListWidgetItem*> selected = ui->rsrcList->selectedItems();
    return selected.isEmpty() ? QString() : selected.first()->text();
}

void ResourceDialog::itemDoubleClicked(QListWidgetItem* /*item*/)
{
    if (!ui->rsrcList->selectedItems().isEmpty())
        accept();
}

bool ResourceDialog::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == ui->rsrcList && event->type() == QEvent::KeyPress)
    {
        const int key = dynamic_cast<const QKeyEvent&>(*event).key();
        QListWidgetItem* current = ui->rsrcList->currentItem();
        // The list itself would move to the next item.
        if ((key == Qt::Key_Down || key == Qt::Key_Up) && current != nullptr && ui->rsrcList->selectedItems().isEmpty())
        {
            current->setSelected(true);
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void ResourceDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    // A search may have started or ended since construction. The flag does not show one that has ended, so compare too.
    if (s_resourceListUpdateInProcess || !listIsCurrent())
        refreshList(false);
    restoreWindowSettings();
}

void ResourceDialog::hideEvent(QHideEvent* event)
{
    QDialog::hideEvent(event);
    saveWindowSettings();
}

void ResourceDialog::restoreWindowSettings()
{
    gui::restoreWindowSettings(*this, settingsGroup, MaximizedState::Remembered);
}

void ResourceDialog::saveWindowSettings() const
{
    gui::saveWindowSettings(*this, settingsGroup, MaximizedState::Remembered);
}

} // namespace gui
