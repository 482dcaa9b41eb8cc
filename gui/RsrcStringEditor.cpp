// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "RsrcStringEditor.h"

#include "ui_RsrcStringEditor.h"

#include "ResourceDialog.h"
#include "ResourceString.h"
#include "WindowSettings.h"

#include <QRegExpValidator>

#include <array>

namespace gui
{

namespace
{

/// In the order of InterfaceType. If a name is missing, the last pointer is null.
constexpr std::array<const char*, interfaceTypeCount> interfaceNames = {
    QT_TRANSLATE_NOOP("RsrcStringEditor", "VXI-11"), QT_TRANSLATE_NOOP("RsrcStringEditor", "HiSlip"),
    QT_TRANSLATE_NOOP("RsrcStringEditor", "Socket"), QT_TRANSLATE_NOOP("RsrcStringEditor", "KYIB"),
    QT_TRANSLATE_NOOP("RsrcStringEditor", "USB"),    QT_TRANSLATE_NOOP("RsrcStringEditor", "Serial")};
static_assert(interfaceNames.back() != nullptr);

constexpr const char* aliasPattern = R"([^:,\s]*)";
constexpr const char* serialNumberPattern = R"([^"\*\/:\?\\]*)";
constexpr const char* hostPattern = R"(^(([a-zA-Z0-9]|[a-zA-Z0-9][a-zA-Z0-9\-]*[a-zA-Z0-9])\.)*)"
                                    R"(([A-Za-z0-9]|[A-Za-z0-9][A-Za-z0-9\-]*[A-Za-z0-9])$)";
constexpr const char* boardPattern = "[0-9]{0,2}";
constexpr const char* digitsPattern = "[0-9]*";
constexpr const char* usbIdPattern = "(0x[0-9a-fA-F]{0,4})|([0-9]{0,5})";

const QLatin1String settingsGroup("RsrcStringEditor");

void setIfEmpty(QLineEdit& edit, const QString& text)
{
    if (edit.text().isEmpty())
        edit.setText(text);
}

} // namespace

RsrcStringEditor::RsrcStringEditor(QWidget* parent) : QDialog(parent), ui(std::make_unique<Ui::RsrcStringEditor>())
{
    ui->setupUi(this);
    // Connect before filling the list: its first item sets the defaults and the first string.
    setupConnections();
    setupUi();
}

RsrcStringEditor::~RsrcStringEditor()
{
    saveWindowSettings();
}

void RsrcStringEditor::setupUi()
{
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    for (const char* name : interfaceNames)
        ui->IfcComboBox->addItem(QCoreApplication::translate("RsrcStringEditor", name));
    ui->IfcComboBox->setCurrentIndex(Vxi11Interface);

    setValidator(*ui->aliasEdit, aliasPattern);
    setValidator(*ui->serialEdit, serialNumberPattern);
    setValidator(*ui->IpEdit, hostPattern);
    setValidator(*ui->BoardEdit, boardPattern);
    setValidator(*ui->PortEdit, digitsPattern);
    setValidator(*ui->deviceEdit, digitsPattern);
    setValidator(*ui->PrimaryEdit, digitsPattern);
    setValidator(*ui->vendorEdit, usbIdPattern);
    setValidator(*ui->productEdit, usbIdPattern);

    ui->vendorEdit->setText(QStringLiteral("0x0000"));
    ui->productEdit->setText(QStringLiteral("0x0000"));
    restoreWindowSettings();
}

void RsrcStringEditor::setupConnections()
{
    connect(ui->IfcComboBox, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &RsrcStringEditor::currentIndexChanged);
    for (const QLineEdit* part : {ui->BoardEdit, ui->IpEdit, ui->PortEdit, ui->deviceEdit, ui->vendorEdit,
                                  ui->serialEdit, ui->productEdit, ui->PrimaryEdit})
        connect(part, &QLineEdit::textChanged, this, &RsrcStringEditor::updateRsrcString);
    connect(ui->FindRsrcButton, &QToolButton::clicked, this, &RsrcStringEditor::findResource);
}

void RsrcStringEditor::setValidator(QLineEdit& edit, const char* pattern)
{
    edit.setValidator(new QRegExpValidator(QRegExp(QLatin1String(pattern)), this));
}

void RsrcStringEditor::setRsrcString(const QString& resource)
{
    ui->RsrcEdit->setText(resource);
}

QString RsrcStringEditor::getRsrcString() const
{
    return ui->RsrcEdit->text().trimmed();
}

void RsrcStringEditor::setAlias(const QString& alias)
{
    ui->aliasEdit->setText(alias);
}

QString RsrcStringEditor::getAlias() const
{
    return ui->aliasEdit->text().trimmed();
}

void RsrcStringEditor::currentIndexChanged(int index)
{
    const bool hasPort = index == HiSlipInterface || index == SocketInterface;
    const bool hasDevice = index == Vxi11Interface || index == HiSlipInterface;
    ui->TcpipGroupBox->setVisible(isTcpip(index));
    ui->UsbGroupBox->setVisible(index == UsbInterface);
    ui->GpibGroupBox->setVisible(index == GpibInterface);
    ui->PortEdit->setVisible(hasPort);
    ui->portLabel->setVisible(hasPort);
    ui->deviceEdit->setVisible(hasDevice);
    ui->deviceLabel->setVisible(hasDevice);

    setIfEmpty(*ui->deviceEdit, QStringLiteral("0"));
    setIfEmpty(*ui->BoardEdit, QStringLiteral("0"));
    ui->BoardEdit->setEnabled(index != KyibInterface);
    if (index == HiSlipInterface)
        ui->PortEdit->setText(QStringLiteral("4880"));
    if (index == SocketInterface)
        ui->PortEdit->setText(QStringLiteral("5025"));
    updateRsrcString(QString());
}

void RsrcStringEditor::updateRsrcString(const QString&)
{
    ResourceParts parts;
    parts.board = ui->BoardEdit->text();
    parts.host = ui->IpEdit->text();
    parts.device = ui->deviceEdit->text();
    parts.port = ui->PortEdit->text();
    parts.vendorId = ui->vendorEdit->text();
    parts.productId = ui->productEdit->text();
    parts.serialNumber = ui->serialEdit->text();
    ui->RsrcEdit->setText(composeResourceString(ui->IfcComboBox->currentIndex(), parts));
}

void RsrcStringEditor::findResource()
{
    ResourceDialog dialog(this);
    if (dialog.exec() == QDialog::Accepted)
        ui->RsrcEdit->setText(dialog.getResource());
}

void RsrcStringEditor::restoreWindowSettings()
{
    gui::restoreWindowSettings(*this, settingsGroup, MaximizedState::Ignored);
}

void RsrcStringEditor::saveWindowSettings() const
{
    gui::saveWindowSettings(*this, settingsGroup, MaximizedState::Ignored);
}

} // namespace gui
