// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDialog>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>

class QListWidgetItem;

namespace Ui
{
class ResourceDialog;
}

namespace gui
{

/// Lists the resources that VISA sees and lets the user pick one. The list comes from a cache of the process,
/// which a search fills; the dialog searches only on "Refresh".
class ResourceDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ResourceDialog(QWidget* parent);
    ~ResourceDialog() override;

    /// Searches, and replaces the cache by what was found, sorted. Whatever fails leaves the cache without it.
    /// Callable from any thread; a second caller waits for the first and then searches anew.
    static void updateResourceList();

    /// Fills the list from the cache, after a new search where `update` is true. Waits for a running search.
    void refreshList(bool update);

    /// The selected resource string, or an empty one.
    [[nodiscard]] QString getResource() const;

public slots:
    void refreshList();
    void itemDoubleClicked(QListWidgetItem* item);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void setupUi();
    void setupConnections();
    void restoreWindowSettings();
    void saveWindowSettings() const;
    /// Whether the list shows what the last search found. False while a search runs.
    [[nodiscard]] bool listIsCurrent() const;

    static QStringList s_resources;        ///< what the last search found
    static std::mutex s_resourceListMutex; ///< guards s_resources; held for the whole of a search
    static std::atomic<bool> s_resourceListUpdateInProcess;

    const std::unique_ptr<Ui::ResourceDialog> ui;
};

} // namespace gui
