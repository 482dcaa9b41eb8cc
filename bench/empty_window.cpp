// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// A window with this program's tool bar and an empty table, as Qt makes it. With an argument, it draws without OpenGL.

#include <QApplication>
#include <QMainWindow>
#include <QTableWidget>
#include <QToolBar>

int main(int argc, char** argv)
{
    if (argc > 1)
        QCoreApplication::setAttribute(Qt::AA_ForceRasterWidgets);
    const QApplication application(argc, argv);
    QMainWindow window;
    auto* toolBar = window.addToolBar(QStringLiteral("toolBar"));
    for (const char* icon : {"Neu_transp4d09c92bc222a", "Minus", "Edit_trans4d09c5d42eda5", "Suchen_tra4d09cbe82cb7b",
                             "Einstellun4d09c60e647ef", "Speichern_4d09cb08d5fcd", "Power_Off4e1edc2c60f47"})
        toolBar->addAction(QIcon(QStringLiteral(":/icons/%1.ico").arg(QLatin1String(icon))), QLatin1String(icon));
    window.setCentralWidget(new QTableWidget(0, 2, &window));
    window.resize(600, 400);
    window.show();
    return QApplication::exec();
}
