// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "PropertyDialog.h"

#include "ui_PropertyDialog.h"

#include "ConfigurationModel.h"
#include "DeviceItem.h"
#include "FoundName.h"
#include "GpibBoards.h"
#include "WindowSettings.h"
#include "visa/VisaHandle.h"

#include <QMenu>
#include <QSignalBlocker>

#include <algorithm>
#include <initializer_list>
#include <string>

namespace gui
{

namespace
{

/// Identifies the KyVisa implementation. Nothing reads it: see "Kept as it is" in docs/source.md.
// NOLINTNEXTLINE(cert-err58-cpp): only a lack of memory throws here, and nothing can handle it.
[[maybe_unused]] const std::string s_sKyVisaGuid = "7A1E4C20-5B3D-4F6A-9C81-2E0D7B64A913";

constexpr std::initializer_list<unsigned> baudRates = {300,   600,   1200,  1800,  2400,   4800,   7200,   9600,
                                                       14400, 19200, 38400, 57600, 115200, 230400, 460800, 921600};
constexpr std::initializer_list<unsigned> dataBits = {5, 6, 7, 8};

// VISA's flow-control bits: XON/XOFF 1, RTS/CTS 2, DTR/DSR 4. The list offers DTR/DSR only with RTS/CTS.
constexpr std::uint8_t rtsCtsWithDtrDsr = 6;
constexpr int rtsCtsWithDtrDsrIndex = 3;

const QLatin1String settingsGroup("PropertyDialog");

int flowControlIndex(std::uint8_t flowControl)
{
    return flowControl < rtsCtsWithDtrDsrIndex ? flowControl : rtsCtsWithDtrDsrIndex;
}

std::uint8_t flowControlOfIndex(int index)
{
    if (index >= rtsCtsWithDtrDsrIndex)
        return rtsCtsWithDtrDsr;
    return index < 0 ? std::uint8_t{0} : static_cast<std::uint8_t>(index);
}

void fill(QComboBox& box, std::initializer_list<unsigned> numbers)
{
    box.clear();
    for (const unsigned number : numbers)
        box.addItem(QString::number(number), number);
}

/// Selects a number. Inserts it at the top if it is missing.
void select(QComboBox& box, unsigned number)
{
    int index = box.findData(number);
    if (index < 0)
    {
        index = 0;
        box.insertItem(index, QString::number(number), number);
    }
    box.setCurrentIndex(index);
}

} // namespace

PropertyDialog::PropertyDialog(ConfigurationModel& model, QWidget* parent)
    : QDialog(parent, Qt::WindowFlags()), ui(std::make_unique<Ui::PropertyDialog>()), m_model(model),
      m_gpibProperties(model.m_gpibProperties), m_serialProperties(model.m_serialProperties)
{
    ui->setupUi(this);
    setupSerialInterface();
    setupUi();
    ui->providerEdit->setText(QStringLiteral("%1").arg(model.m_provider));
    setupConnections();
}

PropertyDialog::~PropertyDialog()
{
    saveWindowSettings();
}

void PropertyDialog::setupUi()
{
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    // Before the tabs are removed: see "Kept as it is" in docs/source.md.
    restoreWindowSettings();
    redrawtree();
    for (QWidget* page : {ui->tabConfMang, ui->tabGpibProperties})
    {
        if (const int index = ui->tabWidget->indexOf(page); index >= 0)
            ui->tabWidget->removeTab(index);
    }
}

void PropertyDialog::setupConnections()
{
    // The form connects the buttons and comboBoxSerialInterface, because ports are added before this function runs.
    connect(ui->PropertyTree, &QTreeWidget::itemChanged, this, &PropertyDialog::itemChanged);
    connect(ui->actionAdd_Device, &QAction::triggered, this, &PropertyDialog::addDevice);
    connect(ui->actionRemove_Device, &QAction::triggered, this, &PropertyDialog::removeDevice);
    ui->PropertyTree->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(ui->PropertyTree, &QTreeWidget::customContextMenuRequested, this, &PropertyDialog::treePopupMenu);
    ui->groupBoxOs->close();
}

void PropertyDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    // The tab widget computes the height of the wrapped text for a wrong width. Take the narrowest one.
    QWidget* page = ui->tabSpecialProperties;
    page->setMinimumHeight(page->heightForWidth(page->parentWidget()->minimumSizeHint().width()));
    // Grow before the window manager places the dialog.
    layout()->activate();
}

KyVisa::ProviderId PropertyDialog::getProvider() const
{
    bool isNumber = false;
    const int provider = ui->providerEdit->text().toInt(&isNumber);
    return isNumber ? static_cast<KyVisa::ProviderId>(provider) : KyVisa::defaultProvider;
}

void PropertyDialog::accept()
{
    serialInterfaceChanged(-1);
    m_model.setProvider(getProvider());
    m_model.setGpibProperties(m_gpibProperties);
    m_model.setSerialProperties(m_serialProperties);
    QDialog::accept();
}

void PropertyDialog::restoreWindowSettings()
{
    gui::restoreWindowSettings(*this, settingsGroup, MaximizedState::Remembered, ui->tabWidget);
}

void PropertyDialog::saveWindowSettings() const
{
    gui::saveWindowSettings(*this, settingsGroup, MaximizedState::Remembered, ui->tabWidget);
}

void PropertyDialog::redrawtree()
{
    const QSignalBlocker blocker(ui->PropertyTree);
    ui->PropertyTree->setHeaderLabels({QCoreApplication::translate("PropertyDialog", "Device No"),
                                       QCoreApplication::translate("PropertyDialog", "Primary Address"),
                                       QCoreApplication::translate("PropertyDialog", "System Controller")});
    ui->PropertyTree->setHeaderHidden(false);
    ui->PropertyTree->clear();
    for (const auto& board : m_gpibProperties)
        ui->PropertyTree->addTopLevelItem(new DeviceItem(board, QTreeWidgetItem::Type));
}

void PropertyDialog::itemChanged(QTreeWidgetItem* item, int column)
{
    if (item->parent() == nullptr)
    {
        if (column == DeviceItem::DeviceNoColumn)
            redrawtree();
        return;
    }

    bool deviceNoIsNumber = false;
    bool primaryAddressIsNumber = false;
    const int deviceNo = item->text(DeviceItem::DeviceNoColumn).toInt(&deviceNoIsNumber);
    const int primaryAddress = item->text(DeviceItem::PrimaryAddressColumn).toInt(&primaryAddressIsNumber);
    const bool systemController = item->checkState(DeviceItem::SystemControllerColumn) == Qt::Checked;
    if (!deviceNoIsNumber || !primaryAddressIsNumber)
    {
        redrawtree();
        return;
    }

    if (column == DeviceItem::DeviceNoColumn)
        removeGpibBoard(m_gpibProperties, ui->PropertyTree->indexOfTopLevelItem(item->parent()));
    putGpibBoard(m_gpibProperties, static_cast<std::uint16_t>(deviceNo), static_cast<std::uint16_t>(primaryAddress),
                 systemController);
    if (column == DeviceItem::DeviceNoColumn)
        redrawtree();
}

void PropertyDialog::addDevice()
{
    addGpibBoard(m_gpibProperties);
    redrawtree();
}

void PropertyDialog::removeDevice()
{
    const QList<QTreeWidgetItem*> selected = ui->PropertyTree->selectedItems();
    if (selected.isEmpty())
        return;
    QTreeWidgetItem* item = selected.first();
    QTreeWidgetItem* board = item->parent() == nullptr ? item : item->parent();
    removeGpibBoard(m_gpibProperties, ui->PropertyTree->indexOfTopLevelItem(board));
    redrawtree();
}

void PropertyDialog::treePopupMenu(QPoint pos)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(ui->actionAdd_Device);
    if (ui->PropertyTree->indexAt(pos).isValid())
        menu->addAction(ui->actionRemove_Device);
    menu->popup(ui->PropertyTree->viewport()->mapToGlobal(pos));
}

void PropertyDialog::setVisaComboboxIndex(int /*index*/) {}

void PropertyDialog::VisaCheckBoxStateChanged(bool /*checked*/) {}

void PropertyDialog::setDefaultOs() {}

void PropertyDialog::setDefaultKy()
{
    UpdateVisaSerialSettings({});
}

void PropertyDialog::setupSerialInterface()
{
    const VisaHandle session = VisaHandle::defaultResourceManager();
    viSetAttribute(session.get(), KYVISA_ATTR_NETWORK_SEARCHES, 0);
    addBaudrates(*ui->comboBoxOsBaudrate);
    addBaudrates(*ui->comboBoxKyBaudrate);
    addDataBits(*ui->comboBoxOsDatabits);
    addDataBits(*ui->comboBoxKyDatabits);
    ui->comboBoxSerialInterface->clear();
    addSerialInterfaces(session.get());
    if (ui->comboBoxSerialInterface->count() == 0)
        ui->tabAsrlProperties->setEnabled(false);
}

void PropertyDialog::addSerialInterfaces(ViSession session)
{
    ViFindList findList = VI_NULL;
    ViUInt32 count = 0;
    FoundName name;
    // After a warning, a list is open as well.
    if (viFindRsrc(session, "ASRL?*", &findList, &count, name.buffer()) < VI_SUCCESS)
        return;

    const VisaHandle list(findList);
    for (count = std::min(count, mostFoundResources); count != 0; --count)
    {
        ViUInt16 interfaceType = 0;
        ViUInt16 interfaceNumber = 0;
        viParseRsrc(session, name.bytes(), &interfaceType, &interfaceNumber);
        // The first item becomes current at once, so the form shows its settings.
        ui->comboBoxSerialInterface->addItem(name.text(), unsigned{interfaceNumber});
        if (viFindNext(list.get(), name.buffer()) != VI_SUCCESS)
            break;
    }
}

void PropertyDialog::addBaudrates(QComboBox& box)
{
    fill(box, baudRates);
}

void PropertyDialog::addDataBits(QComboBox& box)
{
    fill(box, dataBits);
}

void PropertyDialog::UpdateVisaSerialSettings(const KyVisa::SSerialProperties& properties)
{
    select(*ui->comboBoxKyBaudrate, properties.baudRate);
    select(*ui->comboBoxKyDatabits, properties.dataBits);
    // An unknown code leaves its list without a selection.
    ui->comboBoxKyStopbits->setCurrentIndex(properties.stopBits);
    ui->comboBoxKyParity->setCurrentIndex(properties.parity);
    ui->comboBoxKyFlowControl->setCurrentIndex(flowControlIndex(properties.flowControl));
}

void PropertyDialog::GetDisplayVisaSerialSettings(KyVisa::SSerialProperties& properties) const
{
    properties.baudRate = ui->comboBoxKyBaudrate->currentText().toUInt();
    properties.dataBits = static_cast<std::uint8_t>(ui->comboBoxKyDatabits->currentText().toUInt());
    properties.stopBits = static_cast<std::uint8_t>(ui->comboBoxKyStopbits->currentIndex());
    properties.parity = static_cast<std::uint8_t>(ui->comboBoxKyParity->currentIndex());
    properties.flowControl = flowControlOfIndex(ui->comboBoxKyFlowControl->currentIndex());
}

KyVisa::SSerialProperties& PropertyDialog::serialPropertiesOfItem(int index)
{
    const unsigned deviceNo = ui->comboBoxSerialInterface->itemData(index).toUInt();
    return m_serialProperties[static_cast<std::uint16_t>(deviceNo)];
}

void PropertyDialog::serialInterfaceChanged(int iIndex)
{
    if (m_currentSerialIndex >= 0)
        GetDisplayVisaSerialSettings(serialPropertiesOfItem(m_currentSerialIndex));
    if (iIndex >= 0)
        UpdateVisaSerialSettings(serialPropertiesOfItem(iIndex));
    m_currentSerialIndex = iIndex;
}

} // namespace gui
