// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"
#include "visa/visa.h"

#include <QDialog>

#include <memory>

class ConfigurationModel;
class QComboBox;
class QTreeWidgetItem;

namespace Ui
{
class PropertyDialog;
}

namespace gui
{

/// Edits the serial port properties, the GPIB board properties and the provider ID, on copies of the model's that
/// OK hands back. The pages of the conflict manager and of the GPIB boards are built and not shown.
class PropertyDialog : public QDialog
{
    Q_OBJECT

public:
    /// `model` must outlive the dialog.
    PropertyDialog(ConfigurationModel& model, QWidget* parent);
    ~PropertyDialog() override;

    /// The low 16 bits of the provider ID as typed, or the default where nothing is.
    [[nodiscard]] KyVisa::ProviderId getProvider() const;

public slots:
    void redrawtree();
    void itemChanged(QTreeWidgetItem* item, int column);
    void addDevice();
    void removeDevice();
    void treePopupMenu(QPoint pos);
    void setVisaComboboxIndex(int index);
    void VisaCheckBoxStateChanged(bool);
    void accept() override;
    void serialInterfaceChanged(int iIndex);
    void setDefaultOs();
    void setDefaultKy();

private:
    void setupUi();
    void setupConnections();
    void restoreWindowSettings();
    void saveWindowSettings() const;

    void setupSerialInterface();
    void addSerialInterfaces(ViSession session);
    static void addBaudrates(QComboBox& box);
    static void addDataBits(QComboBox& box);
    void UpdateVisaSerialSettings(const KyVisa::SSerialProperties& properties);
    void GetDisplayVisaSerialSettings(KyVisa::SSerialProperties& properties) const;
    /// The record of an item of the port list, a new default one where the port has none.
    [[nodiscard]] KyVisa::SSerialProperties& serialPropertiesOfItem(int index);

    const std::unique_ptr<Ui::PropertyDialog> ui;
    ConfigurationModel& m_model;
    KyVisa::GpibPropertiesMap m_gpibProperties;
    KyVisa::SerialPropertiesMap m_serialProperties;
    int m_currentSerialIndex = -1; ///< item of the port list whose settings are shown; -1: none
};

} // namespace gui
