// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "config/ConfigurationRecords.h"

#include <QTreeWidgetItem>

/// The row of one GPIB board, with a child row that contains its editable properties.
class DeviceItem : public QTreeWidgetItem
{
public:
    enum Column
    {
        DeviceNoColumn,
        PrimaryAddressColumn,
        SystemControllerColumn
    };

    DeviceItem(const KyVisa::GpibPropertiesMap::value_type& board, int type);
};
