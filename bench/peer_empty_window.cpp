// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// A window with a tool bar of texts and an empty table, as Qt makes it. With an argument, it draws without OpenGL.
// It has no icons, so it is a faster peer than one that decodes some.

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
    for (const char* text : {"Add", "Remove", "Edit", "Find", "Properties", "Save", "Close"})
        toolBar->addAction(QLatin1String(text));
    window.setCentralWidget(new QTableWidget(0, 2, &window));
    window.resize(600, 400);
    window.show();
    return QApplication::exec();
}
