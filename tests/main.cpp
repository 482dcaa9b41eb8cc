// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"

#include <QApplication>

#include <gmock/gmock.h>

int main(int argc, char** argv)
{
    const World world;
    QCoreApplication::setOrganizationName("Kyvane&Yollet");
    QCoreApplication::setApplicationName("KyVisaConfigure");
    const QApplication application(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
