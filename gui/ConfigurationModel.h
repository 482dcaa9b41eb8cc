// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

#include <QAbstractTableModel>
#include <QString>

#include <utility>
#include <vector>

class QItemSelectionModel;

/// The editable working copy of the configuration: a table of (resource identifier, alias) rows, the serial and GPIB
/// properties and the provider ID. It is dirty after a change, until it is saved or loaded.
///
/// The store's strings are bytes; the model converts them as Latin-1.
class ConfigurationModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column
    {
        ResourceColumn,
        AliasColumn,
        ColumnCount
    };

    /// Loads the configuration.
    explicit ConfigurationModel(QObject* parent);

    [[nodiscard]] int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    /// The row of `index` must exist.
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role = Qt::DisplayRole) const override;
    /// Stores a text that the file format can hold. Always returns true; ignores other roles than Qt::EditRole. The row
    /// of `index` must exist.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    /// Returns false and removes nothing if a row after the last would be removed. Announces one row more than it
    /// removes.
    bool removeRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;

    /// Returns the path that save() writes to. Empty if there is no file and HOME is not set.
    [[nodiscard]] QString fileName() const { return m_fileName; }

    /// Announces that the whole table may have changed, to one past its last row and column.
    void refresh();

    [[nodiscard]] bool isDirty() const { return m_bDirty; }

    void setDirty(bool bDirty);

    /// Appends a row with the texts as they are.
    void add(const QString& resource, const QString& alias);
    /// Replaces the resource identifier of the first selected row by the text as it is.
    void setResource(const QString& resource);

    void setProvider(KyVisa::ProviderId id);
    void setSerialProperties(const KyVisa::SerialPropertiesMap& properties);
    void setGpibProperties(const KyVisa::GpibPropertiesMap& properties);

    /// Fills the working copy from the store, without a signal for its rows. The GPIB properties stay: the store has
    /// none.
    void loaddata();

public slots:
    /// Appends an empty row. The program does not use it.
    void addEntry();
    /// Removes the current row, if a row is selected.
    void removeSelectedEntry();
    /// Saves rows, serial properties and provider through the store. Reports no failure, and is not dirty afterwards.
    /// The store has no place for GPIB properties.
    void save();

signals:
    /// Reports the stored text of every edit. The program does not use it.
    void editCompleted(QString);
    void dirtyHasChanged(bool bDirty);

public:
    /// Not owned. Public, for the owner of the view to set; null means that nothing is selected.
    QItemSelectionModel* m_pSelectionModel = nullptr;

    // Public for PropertyDialog to read. Use the setters to change them: they set the dirty flag.
    KyVisa::GpibPropertiesMap m_gpibProperties;
    KyVisa::SerialPropertiesMap m_serialProperties;
    KyVisa::ProviderId m_provider = 0;

private:
    using Entry = std::pair<QString, QString>; ///< (resource identifier, alias)

    std::vector<Entry> m_entries;
    QString m_fileName;
    bool m_bDirty = false;
};
