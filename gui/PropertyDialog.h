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

/// Edits copies of the model's serial port properties, GPIB board properties and provider ID. OK writes them to the
/// model. The pages of the conflict manager and of the GPIB boards are built but never shown.
class PropertyDialog : public QDialog
{
    Q_OBJECT

public:
    /// `model` must outlive the dialog.
    PropertyDialog(ConfigurationModel& model, QWidget* parent);
    ~PropertyDialog() override;

    /// Returns the low 16 bits of the typed provider ID, or the default if there is no number.
    [[nodiscard]] KyVisa::ProviderId getProvider() const;

public slots:
    /// Rebuilds the tree of GPIB boards.
    void redrawtree();
    /// Stores an edited cell of the tree. Restores the tree if a text is not a number.
    void itemChanged(QTreeWidgetItem* item, int column);
    void addDevice();
    /// Removes the selected board.
    void removeDevice();
    /// Shows the context menu at a position in the tree's viewport.
    void treePopupMenu(QPoint pos);
    /// Does nothing: see "Kept as it is" in docs/source.md.
    void setVisaComboboxIndex(int index);
    /// As setVisaComboboxIndex().
    void VisaCheckBoxStateChanged(bool);
    /// Writes the copies to the model and closes the dialog.
    void accept() override;
    /// Stores the shown port's settings and shows those of another item; -1 shows none.
    void serialInterfaceChanged(int iIndex);
    /// As setVisaComboboxIndex().
    void setDefaultOs();
    /// Shows the default settings.
    void setDefaultKy();

protected:
    /// Makes the dialog as high as the help text requires.
    void showEvent(QShowEvent* event) override;

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
    /// Returns the record of an item of the port list. Adds a default one if the port has none.
    [[nodiscard]] KyVisa::SSerialProperties& serialPropertiesOfItem(int index);

    const std::unique_ptr<Ui::PropertyDialog> ui;
    ConfigurationModel& m_model;
    KyVisa::GpibPropertiesMap m_gpibProperties;
    KyVisa::SerialPropertiesMap m_serialProperties;
    int m_currentSerialIndex = -1; ///< shown item of the port list, or -1
};

} // namespace gui
