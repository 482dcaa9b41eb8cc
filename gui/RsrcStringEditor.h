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

/// Edits one alias and its resource string. The user types the string, finds it, or composes it from its parts: each
/// change of a part replaces the string. The dialog never parses a string.
class RsrcStringEditor : public QDialog
{
    Q_OBJECT

public:
    explicit RsrcStringEditor(QWidget* parent);
    ~RsrcStringEditor() override;

    void setRsrcString(const QString& resource);
    /// Returns the trimmed text, unchecked.
    [[nodiscard]] QString getRsrcString() const;

    void setAlias(const QString& alias);
    /// Returns the trimmed text, unchecked.
    [[nodiscard]] QString getAlias() const;

public slots:
    /// Shows the fields of an interface type, with their defaults.
    void currentIndexChanged(int index);
    /// Composes the resource string again. The argument is ignored.
    void updateRsrcString(const QString&);
    /// Lets the user pick a found resource string.
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
