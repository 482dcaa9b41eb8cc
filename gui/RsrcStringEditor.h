// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDialog>

#include <memory>

class QLineEdit;

namespace Ui
{
class RsrcStringEditor;
}

namespace gui
{

/// Edits one alias and the resource string that it stands for. The string can be typed, found, or composed from its
/// parts: each change of a part replaces it. It is never taken apart again.
class RsrcStringEditor : public QDialog
{
    Q_OBJECT

public:
    explicit RsrcStringEditor(QWidget* parent);
    ~RsrcStringEditor() override;

    void setRsrcString(const QString& resource);
    /// Without surrounding white space; nothing else is checked.
    [[nodiscard]] QString getRsrcString() const;

    void setAlias(const QString& alias);
    /// Without surrounding white space; nothing else is checked.
    [[nodiscard]] QString getAlias() const;

public slots:
    void currentIndexChanged(int index);
    void updateRsrcString(const QString&);
    void findResource();

private:
    void setupUi();
    void setupConnections();
    void restoreWindowSettings();
    void saveWindowSettings() const;
    void setValidator(QLineEdit& edit, const char* pattern);

    const std::unique_ptr<Ui::RsrcStringEditor> ui;
};

} // namespace gui
