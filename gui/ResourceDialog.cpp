// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ResourceDialog.h"

#include "ui_ResourceDialog.h"

#include "WindowSettings.h"
#include "visa/VisaHandle.h"

#include <QGuiApplication>
#include <QPushButton>

#include <algorithm>
#include <array>

namespace gui
{

namespace
{

constexpr std::size_t descriptionLength = 1024;
constexpr ViUInt32 reservedAtMost = 4096; // a count is the library's word, and only a hint

const QLatin1String settingsGroup("ResourceDialog");

/// Sets the in-process flag for the time of a search, also of one that throws.
class UpdateInProcess
{
public:
    explicit UpdateInProcess(std::atomic<bool>& flag) : m_flag(flag) { m_flag.store(true); }

    ~UpdateInProcess() { m_flag.store(false); }

    UpdateInProcess(const UpdateInProcess&) = delete;
    UpdateInProcess& operator=(const UpdateInProcess&) = delete;

private:
    std::atomic<bool>& m_flag;
};

/// Every resource of this machine and its network, as far as the library tells.
QStringList findResources(ViSession session)
{
    viSetAttribute(session, KYVISA_ATTR_NETWORK_SEARCHES, 7);
    viSetAttribute(session, KYVISA_ATTR_SEARCH_TIME, 1000);

    QStringList resources;
    ViFindList findList = VI_NULL;
    ViUInt32 count = 0;
    std::array<ViChar, descriptionLength> description = {};
    // Not even a warning counts as found here, and then no list is open that would have to be closed.
    if (viFindRsrc(session, "?*", &findList, &count, description.data()) != VI_SUCCESS || count == 0)
        return resources;

    const VisaHandle list(findList);
    resources.reserve(static_cast<int>(std::min(count, reservedAtMost)));
    resources.append(QString::fromUtf8(description.data()));
    for (ViUInt32 remaining = count - 1; remaining > 0; --remaining)
    {
        // One entry that fails is no reason to give up those behind it.
        if (viFindNext(list.get(), description.data()) == VI_SUCCESS)
            resources.append(QString::fromUtf8(description.data()));
    }
    return resources;
}

} // namespace

QStringList ResourceDialog::s_resources;
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
    // A running search holds the lock: showEvent() waits for it, once the wait cursor is up.
    const std::unique_lock lock(s_resourceListMutex, std::try_to_lock);
    if (lock.owns_lock())
        ui->rsrcList->addItems(s_resources);
    ui->buttonBox->button(QDialogButtonBox::Ok)->setText(QCoreApplication::translate("ResourceDialog", "Select"));
}

void ResourceDialog::setupConnections()
{
    connect(ui->refreshButton, &QToolButton::clicked, this, qOverload<>(&ResourceDialog::refreshList));
    connect(ui->rsrcList, &QListWidget::itemDoubleClicked, this, &ResourceDialog::itemDoubleClicked);
}

void ResourceDialog::updateResourceList()
{
    const std::lock_guard lock(s_resourceListMutex);
    const UpdateInProcess inProcess(s_resourceListUpdateInProcess);
    s_resources.clear();
    const VisaHandle session = VisaHandle::defaultResourceManager();
    s_resources = findResources(session.get());
    s_resources.sort(Qt::CaseSensitive);
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
    // While the dialog is not yet on the screen, its own cursor is not either.
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);

    ui->rsrcList->clear();
    if (update)
    {
        updateResourceList();
        // What was clicked meanwhile meets disabled buttons and an empty list.
        QCoreApplication::processEvents();
    }
    {
        const std::lock_guard lock(s_resourceListMutex);
        ui->rsrcList->addItems(s_resources);
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
    if (!lock.owns_lock() || ui->rsrcList->count() != s_resources.size())
        return false;
    for (int row = 0; row < s_resources.size(); ++row)
    {
        if (ui->rsrcList->item(row)->text() != s_resources.at(row))
            return false;
    }
    return true;
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

void ResourceDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    // A search may have begun, and even have ended, since the constructor looked. The flag is the quick answer; a
    // search that holds the lock and has not set it yet, or has cleared it already, shows as a list that is not
    // current.
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
