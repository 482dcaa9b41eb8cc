// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "DeviceItem.h"

#include <QCoreApplication>

DeviceItem::DeviceItem(const KyVisa::GpibPropertiesMap::value_type& board, int type) : QTreeWidgetItem(type)
{
    const auto& [deviceNo, properties] = board;
    setText(DeviceNoColumn, QCoreApplication::translate("PropertyDialog", "Device %1").arg(deviceNo));

    auto* row = new QTreeWidgetItem(this);
    row->setText(DeviceNoColumn, QString::number(deviceNo));
    row->setText(PrimaryAddressColumn, QString::number(properties.primaryAddress));
    row->setCheckState(SystemControllerColumn, properties.systemController == 1 ? Qt::Checked : Qt::Unchecked);
    row->setFlags(row->flags() | Qt::ItemIsEditable | Qt::ItemIsUserCheckable);
}
