// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ConfigurationModel.h"

#include "config/ConfigurationFile.h"

#include <QFile>
#include <QItemSelectionModel>

namespace
{

/// Trims the text of a cell, replaces blanks by '_', and removes '=', '#' and ';', in an alias also ':'.
QString cleaned(const QString& text, int column)
{
    QString result = text.trimmed();
    result.replace(QLatin1Char(' '), QLatin1Char('_'));
    result.remove(QLatin1Char('='));
    result.remove(QLatin1Char('#'));
    result.remove(QLatin1Char(';'));
    if (column == ConfigurationModel::AliasColumn)
        result.remove(QLatin1Char(':'));
    return result;
}

QString fromBytes(const std::string& bytes)
{
    return QString::fromLatin1(bytes.data(), static_cast<int>(bytes.size()));
}

} // namespace

ConfigurationModel::ConfigurationModel(QObject* parent) : QAbstractTableModel(parent)
{
    loaddata();
}

int ConfigurationModel::rowCount(const QModelIndex& /*parent*/) const
{
    return static_cast<int>(m_entries.size());
}

int ConfigurationModel::columnCount(const QModelIndex& /*parent*/) const
{
    return ColumnCount;
}

Qt::ItemFlags ConfigurationModel::flags(const QModelIndex& /*index*/) const
{
    return Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsEnabled;
}

QVariant ConfigurationModel::data(const QModelIndex& index, int role) const
{
    if (role != Qt::DisplayRole && role != Qt::EditRole)
        return {};
    switch (index.column())
    {
    case ResourceColumn:
        return m_entries[static_cast<std::size_t>(index.row())].first;
    case AliasColumn:
        return m_entries[static_cast<std::size_t>(index.row())].second;
    default:
        return {};
    }
}

QVariant ConfigurationModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section)
    {
    case ResourceColumn:
        return tr("Resource identifier");
    case AliasColumn:
        return tr("Alias");
    default:
        return {};
    }
}

bool ConfigurationModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole)
        return true;

    const QString text = cleaned(value.toString(), index.column());
    if (index.column() == ResourceColumn || index.column() == AliasColumn)
    {
        Entry& entry = m_entries[static_cast<std::size_t>(index.row())];
        QString& cell = index.column() == ResourceColumn ? entry.first : entry.second;
        setDirty(m_bDirty || text != cell);
        cell = text;
    }
    // No dataChanged: see "Kept as it is" in docs/source.md.
    emit editCompleted(text);
    return true;
}

bool ConfigurationModel::removeRows(int row, int count, const QModelIndex& parent)
{
    if (row + count > rowCount())
        return false;

    // One row too many: see "Kept as it is" in docs/source.md.
    beginRemoveRows(parent, row, row + count);
    const auto first = m_entries.begin() + row;
    m_entries.erase(first, first + count);
    setDirty(true);
    endRemoveRows();
    refresh();
    return true;
}

void ConfigurationModel::refresh()
{
    // One past the last row and column: see "Kept as it is" in docs/source.md.
    emit dataChanged(createIndex(0, 0), createIndex(rowCount(), columnCount()));
    emit headerDataChanged(Qt::Vertical, 0, rowCount());
}

void ConfigurationModel::setDirty(bool bDirty)
{
    if (m_bDirty == bDirty)
        return;
    m_bDirty = bDirty;
    emit dirtyHasChanged(bDirty);
}

void ConfigurationModel::add(const QString& resource, const QString& alias)
{
    // No beginInsertRows(): see "Kept as it is" in docs/source.md.
    m_entries.emplace_back(resource, alias);
    setDirty(true);
    refresh();
}

void ConfigurationModel::addEntry()
{
    add(QString(), QString());
}

void ConfigurationModel::removeSelectedEntry()
{
    if (m_pSelectionModel == nullptr || !m_pSelectionModel->hasSelection())
        return;
    const QModelIndex current = m_pSelectionModel->currentIndex();
    if (current.isValid() && current.row() < rowCount())
        removeRows(current.row(), 1, QModelIndex());
}

void ConfigurationModel::setResource(const QString& resource)
{
    if (m_pSelectionModel == nullptr || !m_pSelectionModel->hasSelection())
        return;
    const QModelIndexList selected = m_pSelectionModel->selectedRows(ResourceColumn);
    if (selected.isEmpty() || selected.first().row() >= rowCount())
        return;
    QString& identifier = m_entries[static_cast<std::size_t>(selected.first().row())].first;
    setDirty(m_bDirty || resource != identifier);
    identifier = resource;
}

void ConfigurationModel::setProvider(KyVisa::ProviderId id)
{
    if (id == m_provider)
        return;
    setDirty(true);
    m_provider = id;
}

void ConfigurationModel::setSerialProperties(const KyVisa::SerialPropertiesMap& properties)
{
    if (properties == m_serialProperties)
        return;
    setDirty(true);
    m_serialProperties = properties;
}

void ConfigurationModel::setGpibProperties(const KyVisa::GpibPropertiesMap& properties)
{
    if (properties == m_gpibProperties)
        return;
    setDirty(true);
    m_gpibProperties = properties;
}

void ConfigurationModel::loaddata()
{
    KyVisa::ConfigurationFile& store = KyVisa::ConfigurationFile::getInstance();
    const std::size_t count = store.m_resources.size() + store.m_aliases.size();
    m_entries.clear();
    m_entries.reserve(count);
    for (std::size_t index = 0; index < count; ++index)
    {
        std::string alias;
        const std::string resource = store.getResource(index, alias);
        m_entries.emplace_back(fromBytes(resource), fromBytes(alias));
    }
    setDirty(false);
    m_serialProperties = store.m_serialProperties;
    m_provider = store.m_provider;
    m_fileName = QFile::decodeName(store.fileToSave().c_str());
    store.rememberLoaded();
}

void ConfigurationModel::save()
{
    std::vector<KyVisa::ResourceAliasPair> pairs;
    pairs.reserve(m_entries.size());
    for (const auto& [resource, alias] : m_entries)
        pairs.emplace_back(resource.toLatin1().toStdString(), alias.toLatin1().toStdString());

    KyVisa::ConfigurationFile& store = KyVisa::ConfigurationFile::getInstance();
    store.setData(pairs);
    store.m_serialProperties = m_serialProperties;
    store.setProvider(m_provider);
    store.save();
    m_fileName = QFile::decodeName(store.fileToSave().c_str());
    // Also after a failure: see "Kept as it is" in docs/source.md.
    setDirty(false);
}
