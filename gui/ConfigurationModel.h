// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

#include <QAbstractTableModel>
#include <QString>

#include <utility>
#include <vector>

class QItemSelectionModel;

/// The editable working copy of the configuration: a table of (resource identifier, alias) rows, and beside it the
/// serial and GPIB properties and the provider ID. It knows whether it differs from what was last loaded or saved.
///
/// The strings of the store are bytes; this model takes each byte for one Latin-1 character.
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
    /// Stores a text without what the file format uses as separators. The row of `index` must exist. Always true.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    /// False, and nothing removed, past the last row. The range that is announced ends one past the removed rows.
    bool removeRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;

    /// Announces that the whole table may have changed, up to one past its last row and column.
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

    /// Fills the working copy from the store. The GPIB properties stay as they are: the store has none.
    void loaddata();

public slots:
    void addEntry();
    /// Removes the current row; nothing where none is selected.
    void removeSelectedEntry();
    /// Hands rows, serial properties and provider to the store, which writes the file. A failure is not reported.
    void save();

signals:
    void editCompleted(QString);
    void dirtyHasChanged(bool bDirty);

public:
    /// Not owned; null means that nothing is selected.
    QItemSelectionModel* m_pSelectionModel = nullptr;

    // For reading; changes go through the setters, which keep the dirty flag.
    KyVisa::GpibPropertiesMap m_gpibProperties;
    KyVisa::SerialPropertiesMap m_serialProperties;
    KyVisa::ProviderId m_provider = 0;

private:
    using Entry = std::pair<QString, QString>; ///< (resource identifier, alias)

    std::vector<Entry> m_entries;
    bool m_bDirty = false;
};
